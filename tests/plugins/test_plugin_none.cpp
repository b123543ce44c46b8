// A library without the "initializer" entry point.
extern "C" int some_other_symbol() { return 7; }

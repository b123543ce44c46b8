// A library that offers two plug-ins of different types. Each counts its live objects so that
// the tests can see when the registry releases them.
#include "plug/plugin.h"

namespace {

int live_objects = 0;

class Test_plugin : public QZ::PLUG::Plugin {
public:
    Test_plugin(const char* name, const char* type) : name_(name), type_(type) { ++live_objects; }
    ~Test_plugin() override { --live_objects; }
    const char* get_name() override { return name_; }
    const char* get_type() override { return type_; }
    int32_t get_version() override { return 3; }

private:
    const char* name_;
    const char* type_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) QZ::PLUG::Plugin* initializer(uint32_t index, void* context)
{
    if (!context)
        return nullptr;
    switch (index) {
    case 0:
        return new Test_plugin("First_test_plugin", "Test_kind_a");
    case 1:
        return new Test_plugin("Second_test_plugin", "First_test_plugin");
    }
    return nullptr;
}

extern "C" __attribute__((visibility("default"))) int test_plugin_live_objects() { return live_objects; }

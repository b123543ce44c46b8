// vornc's command line: the words a user typed, checked and sorted, before the library starts.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vornc {

extern const char* const usage_text;

enum class Diagnostics_form { text, gcc, json };
enum class Color_choice { automatic, always, never };

struct Arguments {
    std::string path;
    bool path_given = false;
    std::string command;
    std::vector<std::string> rest;
    bool show_version = false;

    // The front end
    std::vector<std::string> include_directories;
    // -D NAME[=VALUE] (no value: none) and -U NAME (none either), in the order given.
    struct Macro_edit {
        bool define;
        std::string name;
        std::optional<std::string> value;
    };
    std::vector<Macro_edit> macro_edits;
    bool preprocess_only = false;

    // compile
    std::string target;
    std::string shader;
    std::vector<std::pair<std::string, std::string>> options;
    std::string output;  // a directory, a file for one program, or "-"; empty for "."
    std::string save_binary;
    // preview: the shape drawn, "quad" or "sphere"
    std::string shape = "quad";
    // graph
    bool dot = false;
    // link, and compile of a graph file: the node or the class linked
    std::string node;
    std::string node_class;
    // A render export of it: the light nodes ("a,b"; given, even empty, unrolls the light loops)
    // and the environment node.
    std::optional<std::string> lights;
    std::string environment;

    // Dependencies: -M prints the rule and compiles nothing; a depfile is written beside the work.
    bool dependencies_only = false;
    std::string depfile;

    // Diagnostics
    Diagnostics_form diagnostics = Diagnostics_form::text;
    Color_choice color = Color_choice::automatic;
    bool warnings_are_errors = false;
    bool no_warnings = false;
};

// Sorts the words of argv into arguments. -1 when a command is to run; else the exit status
// to end with at once (0 after --help, 2 after a misuse, which is reported).
int parse_arguments(int argc, char** argv, Arguments& arguments);

}  // namespace vornc

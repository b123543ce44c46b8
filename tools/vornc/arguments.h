// vornc's command line: the words a user typed, checked and sorted, before the library starts.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vornc {

extern const char* const usage_text;

struct Arguments {
    std::string path;
    bool path_given = false;
    std::string command;
    std::vector<std::string> rest;
    // compile
    std::string target;
    std::string shader;
    std::vector<std::pair<std::string, std::string>> options;
    std::string output_directory = ".";
    std::string save_binary;
    // graph
    bool dot = false;
};

// Sorts the words of argv into arguments. -1 when a command is to run; else the exit status
// to end with at once (0 after --help or --version, 2 after a misuse, which is reported).
int parse_arguments(int argc, char** argv, Arguments& arguments);

}  // namespace vornc

#include "arguments.h"

#include <cstdio>

#ifndef VORN_VERSION_TEXT
#define VORN_VERSION_TEXT "unknown"
#endif

namespace vornc {

const char* const usage_text =
    "usage: vornc [--path LIST] COMMAND [ARGS]\n"
    "\n"
    "Commands:\n"
    "  check FILE...     compile each file and print its diagnostics on standard error;\n"
    "                    exit status 1 if any file has one\n"
    "  compile FILE --target FX|GL|Cg|Swrc [--shader NAME] [--option KEY=VALUE]... [-o DIR]\n"
    "                    compile a file and write the generated programs into DIR (default .),\n"
    "                    named after the file: FX .fx, GL .vert and .frag, Cg .v.cg and\n"
    "                    .f.cg (the main files with the shader; complete_program=0 gives\n"
    "                    the shader's .f.cg alone); the shader is taken as a surface\n"
    "                    unless --option shader_type=... says otherwise.\n"
    "                    A FILE ending in .bovl is a binary compiled file, read instead\n"
    "                    of compiled\n"
    "  compile FILE.ovl --save-binary OUT [--target ...]\n"
    "                    compile a file and save the unit as the binary compiled file OUT;\n"
    "                    with --target, also write the generated programs\n"
    "  dump-tree FILE    compile a file and print the trees of its shaders and functions\n"
    "  graph FILE.xovl [--dot]\n"
    "                    read a graph file and list its source files, its classes with\n"
    "                    their parameters and its nodes with their values and wires; with\n"
    "                    --dot, write the graph in Graphviz's dot language instead (for\n"
    "                    dot -Tpng). Diagnostics of the read go to standard error; exit\n"
    "                    status 1 if there were any\n"
    "  paths             print the shader search path, one directory per line\n"
    "\n"
    "Options:\n"
    "  --path LIST       shader search path, directories separated by ';'\n"
    "  --help            print this text\n"
    "  --version         print the version of vornc and of the library's interface\n";

int parse_arguments(int argc, char** argv, Arguments& arguments)
{
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (word == "--help" || word == "-h") {
            std::fputs(usage_text, stdout);
            return 0;
        }
        if (word == "--version") {
            std::printf("vornc %s\n", VORN_VERSION_TEXT);
            return 0;
        }
        if (word == "--dot") {
            arguments.dot = true;
            continue;
        }
        if (word == "--path") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "vornc: --path needs a list of directories\n");
                return 2;
            }
            arguments.path = argv[++i];
            arguments.path_given = true;
            continue;
        }
        if (word == "--target" || word == "--shader" || word == "--option" || word == "-o" ||
            word == "--save-binary") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "vornc: %s needs a value\n", word.c_str());
                return 2;
            }
            std::string value = argv[++i];
            if (word == "--target") {
                arguments.target = value;
            } else if (word == "--shader") {
                arguments.shader = value;
            } else if (word == "-o") {
                arguments.output_directory = value;
            } else if (word == "--save-binary") {
                arguments.save_binary = value;
            } else {
                size_t equals = value.find('=');
                if (equals == std::string::npos || equals == 0) {
                    std::fprintf(stderr, "vornc: --option needs KEY=VALUE, not '%s'\n", value.c_str());
                    return 2;
                }
                arguments.options.emplace_back(value.substr(0, equals), value.substr(equals + 1));
            }
            continue;
        }
        if (word.size() > 1 && word[0] == '-') {
            std::fprintf(stderr, "vornc: unknown option '%s'\n", word.c_str());
            return 2;
        }
        if (arguments.command.empty())
            arguments.command = word;
        else
            arguments.rest.push_back(word);
    }
    return -1;
}

}  // namespace vornc

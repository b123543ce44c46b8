// Files that vornc reads and writes: inputs, generated programs, dependency rules.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "arguments.h"
#include "diagnostics.h"

namespace vornc {

bool is_directory(const std::string& path);
bool read_stream(std::FILE* stream, std::string& text);
// Empty when written, else why not.
std::string write_file(const std::string& path, const std::string& text);

struct Program_set {
    std::vector<std::string> texts;
    std::vector<std::string> endings;
    // Where each goes, set by place_programs; "-" for standard output.
    std::vector<std::string> paths;
};

// Sets the paths of the programs from -o OUT: empty for the working directory; "-" for standard
// output (one program only); an existing directory or one named with a final '/'; otherwise the
// file itself for one program, or a directory for several. With create, directories are made
// when missing.
// False with why after a misuse or a directory that cannot be made.
bool place_programs(const std::string& output, const std::string& base, bool create, Program_set& programs,
                    std::string& why);
// Writes each program and prints the path of each file written; false after any failure.
bool write_programs(const Program_set& programs, Diagnostic_printer& printer);

// A Make rule: the targets depend on the files; each file also gets an empty rule of its own, so
// that a file that goes away does not stop make. To standard output under -M, into the depfile
// when one is named; true when there is nothing to write.
bool write_dependencies(const Arguments& arguments, const std::vector<std::string>& targets,
                        const std::vector<std::string>& files, Diagnostic_printer& printer);
// inputs get no rule of their own.
std::string make_rule(const std::vector<std::string>& targets, const std::vector<std::string>& files,
                      const std::vector<std::string>& inputs);

}  // namespace vornc

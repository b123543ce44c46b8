#include "output.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vornc {

namespace {

// Makes path and every missing directory above it; empty when done, else why not.
std::string make_directories(const std::string& path)
{
    for (size_t slash = path.find('/', 1); ; slash = path.find('/', slash + 1)) {
        std::string part = path.substr(0, slash);
        if (!part.empty() && !is_directory(part) && ::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST)
            return "cannot make the directory " + part + ": " + std::strerror(errno);
        if (slash == std::string::npos)
            return std::string();
    }
}

// Blanks, '#' and '$' mean something to make.
std::string make_escaped(const std::string& name)
{
    std::string out;
    for (char c : name) {
        if (c == ' ' || c == '\t' || c == '#' || c == '\\')
            out += '\\';
        if (c == '$')
            out += '$';
        out += c;
    }
    return out;
}

}  // namespace

bool is_directory(const std::string& path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool read_stream(std::FILE* stream, std::string& text)
{
    text.clear();
    char block[65536];
    for (size_t got; (got = std::fread(block, 1, sizeof block, stream)) > 0;)
        text.append(block, got);
    return std::ferror(stream) == 0;
}

std::string write_file(const std::string& path, const std::string& text)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return std::strerror(errno);
    bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    std::string why = written ? std::string() : std::strerror(errno);
    if (std::fclose(file) != 0 && why.empty())
        why = std::strerror(errno);
    return why;
}

bool place_programs(const std::string& output, const std::string& base, bool create, Program_set& programs,
                    std::string& why)
{
    size_t count = programs.texts.size();
    programs.paths.clear();
    if (output == "-") {
        if (count != 1) {
            why = "-o - needs a target of one program; this one has " + std::to_string(count);
            return false;
        }
        programs.paths.push_back("-");
        return true;
    }
    bool directory = output.empty() || is_directory(output) || output.back() == '/' || count != 1;
    if (!directory) {
        // A build system names outputs in folders that need not exist yet.
        size_t slash = output.rfind('/');
        if (create && slash != std::string::npos && slash > 0)
            why = make_directories(output.substr(0, slash));
        programs.paths.push_back(output);
        return why.empty();
    }
    std::string folder = output.empty() ? std::string(".") : output;
    if (create)
        why = make_directories(folder);
    if (!why.empty())
        return false;
    if (folder.back() != '/')
        folder += '/';
    for (size_t i = 0; i < count; ++i)
        programs.paths.push_back(folder + base + programs.endings[i]);
    return true;
}

bool write_programs(const Program_set& programs, Diagnostic_printer& printer)
{
    bool ok = true;
    for (size_t i = 0; i < programs.texts.size(); ++i) {
        const std::string& path = programs.paths[i];
        if (path == "-") {
            std::fwrite(programs.texts[i].data(), 1, programs.texts[i].size(), stdout);
            continue;
        }
        std::string why = write_file(path, programs.texts[i]);
        if (why.empty()) {
            std::printf("%s\n", path.c_str());
        } else {
            printer.error(path, "cannot write: " + why);
            ok = false;
        }
    }
    return ok;
}

std::string make_rule(const std::vector<std::string>& targets, const std::vector<std::string>& files,
                      const std::vector<std::string>& inputs)
{
    std::string rule;
    for (const std::string& target : targets)
        rule += (rule.empty() ? "" : " ") + make_escaped(target);
    rule += ":";
    std::vector<std::string> listed;
    for (const std::string& file : files) {
        if (std::find(listed.begin(), listed.end(), file) != listed.end())
            continue;
        listed.push_back(file);
        rule += " \\\n  " + make_escaped(file);
    }
    rule += "\n";
    // An input is no phony target: make must never think it can be made from nothing.
    for (const std::string& file : listed)
        if (std::find(inputs.begin(), inputs.end(), file) == inputs.end())
            rule += "\n" + make_escaped(file) + ":\n";
    return rule;
}

bool write_dependencies(const Arguments& arguments, const std::vector<std::string>& targets,
                        const std::vector<std::string>& files, Diagnostic_printer& printer)
{
    std::string rule = make_rule(targets, files, arguments.rest);
    if (arguments.dependencies_only)
        std::fputs(rule.c_str(), stdout);
    if (arguments.depfile.empty())
        return true;
    std::string why = write_file(arguments.depfile, rule);
    if (!why.empty()) {
        printer.error(arguments.depfile, "cannot write the dependency file: " + why);
        return false;
    }
    return true;
}

}  // namespace vornc

// vornc: the command-line compiler. It sees only the public header, as any host does.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "arguments.h"
#include "graph_command.h"
#include "reporting.h"
#include "vorn/vorn.h"

using vornc::Arguments;
using vornc::caught_log_lines;
using vornc::print_diagnostics;
using vornc::parse_arguments;
using vornc::usage_text;

namespace {

// The built-in targets and the file name endings of their programs, in program order.
struct Target {
    const char* name;
    std::vector<const char*> endings;
    // The Cg programs: a whole program by default, whose fragment texts (the main file, then the
    // generated text) are one fragment program and go into one file, the last ending's.
    bool whole_program = false;
};
const Target known_targets[] = {
    {"FX", {".fx"}},
    {"GL", {".vert", ".frag"}},
    {"Cg", {".v.cg", ".f.cg"}, true},
    {"Swrc", {".cpp", ".decl"}},
};

// The directory that holds the library; its data files lie beside it in a build tree and in the
// installed data directory otherwise, as the library itself looks for them.
std::string library_directory()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&initialize_vorn), &info) == 0 || !info.dli_fname)
        return ".";
    std::string file = info.dli_fname;
    size_t slash = file.rfind('/');
    return slash == std::string::npos ? "." : file.substr(0, slash);
}

bool is_directory(const std::string& path);

std::string default_shader_path()
{
    std::string directory = library_directory();
    std::string data = directory + "/shaders";
    if (!is_directory(data))
        data = directory + "/" VORN_DATA_RELATIVE_DIR;
    return ".;${@QZ_FILE_PATH};./shaders;" + data;
}

// Environment substitution for display: ${NAME}, ${@NAME} and $NAME; unset optional names vanish.
std::string expand(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size();) {
        if (text[i] != '$') {
            out += text[i++];
            continue;
        }
        size_t j = i + 1;
        bool braced = j < text.size() && text[j] == '{';
        if (braced)
            ++j;
        if (j < text.size() && text[j] == '@')
            ++j;
        size_t end = j;
        while (end < text.size() && (std::isalnum(static_cast<unsigned char>(text[end])) || text[end] == '_'))
            ++end;
        std::string name = text.substr(j, end - j);
        if (braced && end < text.size() && text[end] == '}')
            ++end;
        const char* value = name.empty() ? nullptr : std::getenv(name.c_str());
        if (value)
            out += value;
        i = end > i + 1 ? end : i + 1;
    }
    return out;
}

bool is_directory(const std::string& path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

int command_paths(const Arguments& arguments)
{
    std::string list = arguments.path_given ? arguments.path : default_shader_path();
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(';', start);
        if (end == std::string::npos)
            end = list.size();
        std::string entry = expand(list.substr(start, end - start));
        if (!entry.empty())
            std::printf("%s%s\n", entry.c_str(), is_directory(entry) ? "" : " (missing)");
        start = end + 1;
    }
    return 0;
}

vorn::IVorn_compiler* get_compiler(vorn::IVorn* root)
{
    auto* compiler = static_cast<vorn::IVorn_compiler*>(root->get_interface(vorn::IID_VORN_COMPILER));
    if (!compiler)
        std::fprintf(stderr, "vornc: the library offers no compiler\n");
    return compiler;
}

// Compiles a file and prints its diagnostics. A file with no declarations gives no unit and no
// diagnostic; say so, so that a failure is never silent.
vorn::ICompilation_unit* compile_reporting(vorn::IVorn_compiler* compiler, const std::string& file,
                                           vorn::ICompiler_errors* errors)
{
    vorn::ICompilation_unit* unit = compiler->compile_file(file.c_str(), errors);
    if (print_diagnostics(errors) == 0 && !unit)
        std::fprintf(stderr, "vornc: %s: nothing to compile (no declarations)\n", file.c_str());
    return unit;
}

int command_check(vorn::IVorn* root, const Arguments& arguments)
{
    if (arguments.rest.empty()) {
        std::fprintf(stderr, "vornc: check needs at least one file\n");
        return 2;
    }
    vorn::IVorn_compiler* compiler = get_compiler(root);
    if (!compiler)
        return 1;
    vorn::ICompiler_errors* errors = compiler->create_errors();
    int status = 0;
    for (const std::string& file : arguments.rest) {
        vorn::ICompilation_unit* unit = compile_reporting(compiler, file, errors);
        if (errors->get_count() > 0 || !unit)
            status = 1;
        if (unit)
            unit->release();
    }
    errors->release();
    compiler->release();
    return status;
}

// Returns an exit status when the arguments settle the run by themselves, -1 to go on.
// One node a line, indented two blanks a level, with its value; no recursion, so a long
// statement list prints like any other.
void print_tree(vorn::ISyntax_tree* root)
{
    struct Entry {
        vorn::ISyntax_tree* node;
        int depth;
    };
    std::vector<Entry> pending{{root, 0}};
    root->retain();
    while (!pending.empty()) {
        Entry entry = pending.back();
        pending.pop_back();
        const char* value = entry.node->get_value_as_text();
        std::printf("%*s%s", entry.depth * 2, "", vorn::syntax_tree_kind_name(entry.node->get_kind()));
        if (value)
            std::printf(" \"%s\"", value);
        std::printf("\n");
        for (int32_t i = entry.node->get_child_count(); i-- > 0;)
            pending.push_back({entry.node->get_child(i), entry.depth + 1});
        entry.node->release();
    }
}

int command_dump_tree(vorn::IVorn* root, const Arguments& arguments)
{
    if (arguments.rest.size() != 1) {
        std::fprintf(stderr, "vornc: dump-tree needs one file\n");
        return 2;
    }
    vorn::IVorn_compiler* compiler = get_compiler(root);
    if (!compiler)
        return 1;
    vorn::ICompiler_errors* errors = compiler->create_errors();
    vorn::ICompilation_unit* unit = compile_reporting(compiler, arguments.rest[0], errors);
    errors->release();
    compiler->release();
    if (!unit)
        return 1;
    for (uint32_t i = 0; i < unit->get_shader_count(); ++i) {
        vorn::ISyntax_tree* tree = unit->get_shader(i);
        print_tree(tree);
        tree->release();
    }
    for (uint32_t i = 0; i < unit->get_function_count(); ++i) {
        vorn::ISyntax_tree* tree = unit->get_function(i);
        print_tree(tree);
        tree->release();
    }
    unit->release();
    return 0;
}

const Target* find_target(const std::string& name)
{
    for (const Target& target : known_targets)
        if (name == target.name)
            return &target;
    return nullptr;
}

// The file's name without its folders and its last ending.
std::string base_name(const std::string& file)
{
    size_t slash = file.rfind('/');
    std::string name = slash == std::string::npos ? file : file.substr(slash + 1);
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

// Empty on success, else why the file could not be written. Programs first to last, one after
// the other, make the file.
std::string write_program(vorn::IGenerated_shader* shader, uint32_t first, uint32_t last, const std::string& path)
{
    std::string whole;
    for (uint32_t index = first; index <= last; ++index) {
        uint32_t size = shader->get_program_size(index);
        std::vector<char> text(size ? size : 1);
        shader->copy_program(index, text.data(), uint32_t(text.size()));
        whole += text.data();
    }
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return std::strerror(errno);
    size_t length = whole.size();
    bool written = std::fwrite(whole.data(), 1, length, file) == length;
    std::string why = written ? std::string() : std::strerror(errno);
    if (std::fclose(file) != 0 && why.empty())
        why = std::strerror(errno);
    return why;
}

bool ends_with(const std::string& text, const std::string& ending)
{
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

// A unit read from a binary file and completed, or null after any log line about it.
vorn::ICompilation_unit* load_reporting(vorn::IVorn_compiler* compiler, const std::string& file)
{
    vorn::ICompilation_unit* unit = compiler->create_compilation_unit();
    std::string lines = caught_log_lines([&] {
        unit->load_binary(file.c_str());
        unit->resolve();
    });
    if (!lines.empty() || (unit->get_shader_count() == 0 && unit->get_function_count() == 0)) {
        std::fprintf(stderr, "vornc: %s: not a usable binary compiled file\n", file.c_str());
        unit->release();
        return nullptr;
    }
    return unit;
}

bool save_reporting(vorn::ICompilation_unit* unit, const std::string& file)
{
    std::string lines = caught_log_lines([&] { unit->save_binary(file.c_str()); });
    if (!lines.empty()) {
        std::fprintf(stderr, "vornc: cannot save %s\n", file.c_str());
        return false;
    }
    std::printf("%s\n", file.c_str());
    return true;
}

int generate_programs(vorn::IVorn_compiler* compiler, vorn::ICompilation_unit* unit, const Target* target,
                      const Arguments& arguments)
{
    const std::string& file = arguments.rest[0];
    vorn::ICompiler_options* options = compiler->create_options();
    // A surface shader makes a whole program; --option shader_type=... asks for a component.
    options->set_option("shader_type", "surface");
    if (target->whole_program)
        options->set_option("complete_program", "1");
    if (!arguments.shader.empty())
        options->set_option("shader_name", arguments.shader.c_str());
    for (const auto& option : arguments.options)
        options->set_option(option.first.c_str(), option.second.c_str());
    vorn::IGenerated_shader* shader = unit->generate(target->name, options);
    options->release();
    if (!shader) {
        std::fprintf(stderr, "vornc: no %s text was generated for %s (does it declare a shader%s?)\n",
                     target->name, file.c_str(), arguments.shader.empty() ? "" : " of that name");
        return 1;
    }
    int status = 0;
    std::string base = arguments.output_directory + "/" + base_name(file);
    uint32_t count = shader->get_program_count();
    for (uint32_t i = 0; i < count; ++i) {
        std::string path = base + (i < target->endings.size() ? target->endings[i] : "." + std::to_string(i));
        uint32_t last = i;
        if (target->whole_program) {
            // Without the main files the generated text alone is the fragment program.
            path = base + (i == 0 && count > 1 ? target->endings.front() : target->endings.back());
            if (i > 0 || count == 1)
                last = count - 1;
        }
        std::string why = write_program(shader, i, last, path);
        i = last;
        if (why.empty()) {
            std::printf("%s\n", path.c_str());
        } else {
            std::fprintf(stderr, "vornc: cannot write %s: %s\n", path.c_str(), why.c_str());
            status = 1;
        }
    }
    shader->release();
    return status;
}

int command_compile(vorn::IVorn* root, const Arguments& arguments)
{
    if (arguments.rest.size() != 1) {
        std::fprintf(stderr, "vornc: compile needs one file\n");
        return 2;
    }
    const std::string& file = arguments.rest[0];
    bool from_binary = ends_with(file, ".bovl");
    if (from_binary && !arguments.save_binary.empty()) {
        std::fprintf(stderr, "vornc: --save-binary needs a source file, not a binary one\n");
        return 2;
    }
    const Target* target = find_target(arguments.target);
    bool wants_target = !arguments.target.empty() || arguments.save_binary.empty();
    if (wants_target && !target) {
        std::fprintf(stderr, "vornc: unknown target '%s'; the targets are FX, GL, Cg and Swrc\n",
                     arguments.target.c_str());
        return 2;
    }
    vorn::IVorn_compiler* compiler = get_compiler(root);
    if (!compiler)
        return 1;
    vorn::ICompilation_unit* unit = nullptr;
    if (from_binary) {
        unit = load_reporting(compiler, file);
    } else {
        vorn::ICompiler_errors* errors = compiler->create_errors();
        unit = compile_reporting(compiler, file, errors);
        errors->release();
    }
    int status = unit ? 0 : 1;
    if (unit && !arguments.save_binary.empty() && !save_reporting(unit, arguments.save_binary))
        status = 1;
    if (unit && status == 0 && wants_target)
        status = generate_programs(compiler, unit, target, arguments);
    if (unit)
        unit->release();
    compiler->release();
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    Arguments arguments;
    int early = parse_arguments(argc, argv, arguments);
    if (early >= 0)
        return early;
    if (arguments.command.empty()) {
        std::fputs(usage_text, stderr);
        return 2;
    }

    vorn::IVorn* root = initialize_vorn();
    if (!root) {
        std::fprintf(stderr, "vornc: the library did not start\n");
        return 1;
    }
    root->set_shader_path(arguments.path_given ? arguments.path.c_str() : default_shader_path().c_str());

    int status;
    if (arguments.command == "compile") {
        status = command_compile(root, arguments);
    } else if (arguments.command == "dump-tree") {
        status = command_dump_tree(root, arguments);
    } else if (arguments.command == "check") {
        status = command_check(root, arguments);
    } else if (arguments.command == "graph") {
        status = vornc::command_graph(root, arguments);
    } else if (arguments.command == "paths") {
        status = command_paths(arguments);
    } else {
        std::fprintf(stderr, "vornc: unknown command '%s'\n", arguments.command.c_str());
        std::fputs(usage_text, stderr);
        status = 2;
    }
    root->release();
    return status;
}

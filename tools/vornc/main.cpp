// vornc: the command-line compiler. It sees only the public header, as any host does.
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "arguments.h"
#include "diagnostics.h"
#include "graph_command.h"
#include "link_command.h"
#include "option_table.h"
#include "output.h"
#include "preview.h"
#include "reflect.h"
#include "vorn/vorn.h"

using vornc::Arguments;
using vornc::Diagnostic;
using vornc::Diagnostic_printer;

namespace {

// File name endings of the built-in targets' programs, in program order; other targets' programs
// end in their number.
struct Target_endings {
    const char* name;
    std::vector<const char*> endings;
};
const Target_endings known_endings[] = {
    {"FX", {".fx"}},
    {"GL", {".vert", ".frag"}},
    {"Cg", {".v.cg", ".f.cg"}},
    {"Swrc", {".cpp", ".decl"}},
};

std::string program_ending(const std::string& target, uint32_t index)
{
    for (const Target_endings& known : known_endings)
        if (target == known.name && index < known.endings.size())
            return known.endings[index];
    return "." + std::to_string(index);
}

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

std::string data_directory()
{
    std::string directory = library_directory();
    std::string data = directory + "/shaders";
    if (!vornc::is_directory(data))
        data = directory + "/" VORN_DATA_RELATIVE_DIR;
    return data;
}

std::string default_shader_path()
{
    return ".;${@QZ_FILE_PATH};./shaders;" + data_directory();
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
            std::printf("%s%s\n", entry.c_str(), vornc::is_directory(entry) ? "" : " (missing)");
        start = end + 1;
    }
    return 0;
}

// The library's log lines. The front end's are told again as diagnostics, so they are dropped;
// notes and progress are not for a command line.
class Log_lines : public vorn::ILog_sink {
public:
    struct Line {
        int32_t severity;
        std::string text;
    };
    std::vector<Line> lines;

    void log_line(int32_t severity, const char* module, const char* text) override
    {
        if (severity <= 2 && std::strcmp(module, "CF12") != 0)
            lines.push_back({severity, text});
    }
};

// The library, started for one run of vornc.
class Library {
public:
    vorn::IVorn* root = nullptr;
    vorn::IVorn_compiler* compiler = nullptr;
    vorn::ICompile_session* session = nullptr;
    Log_lines log;

    bool start(const Arguments& arguments, Diagnostic_printer& printer)
    {
        root = initialize_vorn();
        if (!root) {
            printer.error("", "the library did not start");
            return false;
        }
        root->set_shader_path(arguments.path_given ? arguments.path.c_str() : default_shader_path().c_str());
        compiler = static_cast<vorn::IVorn_compiler*>(root->get_interface(vorn::IID_VORN_COMPILER));
        if (compiler)
            session = static_cast<vorn::ICompile_session*>(compiler->get_interface(vorn::IID_COMPILE_SESSION));
        if (!session) {
            printer.error("", "the library offers no compiler");
            return false;
        }
        session->set_log_sink(&log);
        for (const std::string& directory : arguments.include_directories)
            session->add_include_directory(directory.c_str());
        for (const Arguments::Macro_edit& edit : arguments.macro_edits) {
            bool done = edit.define ? session->define_macro(edit.name.c_str(), edit.value ? edit.value->c_str() : nullptr)
                                    : session->undefine_macro(edit.name.c_str());
            if (!done)
                printer.error("", "the library refuses the macro " + edit.name +
                                      (edit.value ? " with the value '" + *edit.value + "'" : std::string()) +
                                      " (a value of one line that does not start with '(')");
        }
        return printer.error_count() == 0;
    }

    ~Library()
    {
        if (session) {
            session->set_log_sink(nullptr);
            session->release();
        }
        if (compiler)
            compiler->release();
        if (root)
            root->release();
    }

    // Log lines that came since the last call, as diagnostics about no file.
    void report_log(Diagnostic_printer& printer)
    {
        for (const Log_lines::Line& line : log.lines)
            printer.report(Diagnostic{line.severity <= 1, "", -1, -1, 0, line.text});
        log.lines.clear();
    }

    std::vector<std::string> target_names() const
    {
        std::vector<std::string> names;
        for (uint32_t i = 0; i < session->get_target_count(); ++i)
            names.push_back(session->get_target_name(i));
        return names;
    }
};

// "A", "A and B", "A, B and C".
std::string listed(const std::vector<std::string>& names)
{
    std::string out;
    for (size_t i = 0; i < names.size(); ++i)
        out += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
    return out;
}

// A file named on the command line. vornc reads it itself when it is there as named (so that
// --path does not hide it) or is standard input; otherwise the library looks for it on the path.
struct Input {
    std::string name;
    bool from_stdin = false;
    bool read = false;
    std::string text;
};

Input open_input(const std::string& word)
{
    Input input;
    input.name = word;
    if (word == "-") {
        input.name = "<stdin>";
        input.from_stdin = true;
        input.read = vornc::read_stream(stdin, input.text);
        return input;
    }
    if (std::FILE* file = std::fopen(word.c_str(), "rb")) {
        input.read = vornc::read_stream(file, input.text) && !vornc::is_directory(word);
        std::fclose(file);
    }
    return input;
}

void report_session(Library& library, Diagnostic_printer& printer)
{
    vorn::ICompile_session* session = library.session;
    for (uint32_t i = 0; i < session->get_diagnostic_count(); ++i)
        printer.report(Diagnostic{session->get_diagnostic_severity(i) == vorn::DIAGNOSTIC_ERROR,
                                  session->get_diagnostic_file(i), session->get_diagnostic_line(i),
                                  session->get_diagnostic_column(i), session->get_diagnostic_number(i),
                                  session->get_diagnostic_message(i)});
    library.report_log(printer);
}

// Compiles one input and reports what came with it. With nothing to compile there is no unit
// and no error, and empty is set.
vorn::ICompilation_unit* compile_input(Library& library, const Input& input, Diagnostic_printer& printer,
                                       bool* empty = nullptr)
{
    vorn::ICompilation_unit* unit = library.session->compile(
        input.name.c_str(), input.read ? input.text.data() : nullptr, uint32_t(input.text.size()), nullptr);
    bool errors = false;
    for (uint32_t i = 0; i < library.session->get_diagnostic_count(); ++i)
        errors = errors || library.session->get_diagnostic_severity(i) == vorn::DIAGNOSTIC_ERROR;
    report_session(library, printer);
    if (empty)
        *empty = !unit && !errors;
    return unit;
}

// Dependencies of the last run: the input, then what it read.
std::vector<std::string> run_dependencies(Library& library, const Input& input)
{
    std::vector<std::string> files;
    if (!input.from_stdin)
        files.push_back(input.name);
    for (uint32_t i = 0; i < library.session->get_dependency_count(); ++i)
        files.push_back(library.session->get_dependency(i));
    return files;
}

int command_check(Library& library, const Arguments& arguments, Diagnostic_printer& printer)
{
    if (arguments.rest.empty()) {
        std::fprintf(stderr, "vornc: check needs at least one file\n");
        return 2;
    }
    for (const std::string& word : arguments.rest) {
        Input input = open_input(word);
        bool empty = false;
        vorn::ICompilation_unit* unit = compile_input(library, input, printer, &empty);
        // The language allows a file without declarations; there is just nothing to check.
        if (empty)
            printer.warning(input.name, "nothing to compile (no declarations)");
        if (unit)
            unit->release();
    }
    return printer.error_count() > 0 ? 1 : 0;
}

// One node a line, indented two blanks a level, with its value; an error stands beside the
// first node of its line. No recursion, so a long statement list prints like any other.
void print_tree(Library& library, vorn::ISyntax_tree* root, std::vector<Diagnostic>& errors)
{
    struct Entry {
        vorn::ISyntax_tree* node;
        int depth;
    };
    std::vector<Entry> pending;
    for (int32_t i = root->get_child_count(); i-- > 0;)
        pending.push_back({root->get_child(i), 0});
    while (!pending.empty()) {
        Entry entry = pending.back();
        pending.pop_back();
        const char* value = entry.node->get_value_as_text();
        std::printf("%*s%s", entry.depth * 2, "", vorn::syntax_tree_kind_name(entry.node->get_kind()));
        if (value)
            std::printf(" \"%s\"", value);
        int32_t line = -1;
        library.session->get_position(entry.node, &line, nullptr);
        for (auto error = errors.begin(); error != errors.end();) {
            if (error->line == line) {
                std::printf("    <-- error: %s", vornc::bare_message(*error).c_str());
                error = errors.erase(error);
            } else {
                ++error;
            }
        }
        std::printf("\n");
        for (int32_t i = entry.node->get_child_count(); i-- > 0;)
            pending.push_back({entry.node->get_child(i), entry.depth + 1});
        entry.node->release();
    }
}

int command_dump_tree(Library& library, const Arguments& arguments, Diagnostic_printer& printer)
{
    if (arguments.rest.size() != 1) {
        std::fprintf(stderr, "vornc: dump-tree needs one file\n");
        return 2;
    }
    Input input = open_input(arguments.rest[0]);
    bool empty = false;
    vorn::ICompilation_unit* unit = compile_input(library, input, printer, &empty);
    if (unit)
        unit->release();
    if (empty)
        printer.warning(input.name, "nothing to compile (no declarations)");
    std::vector<Diagnostic> errors;
    for (uint32_t i = 0; i < library.session->get_diagnostic_count(); ++i)
        if (library.session->get_diagnostic_severity(i) == vorn::DIAGNOSTIC_ERROR &&
            library.session->get_diagnostic_line(i) > 0)
            errors.push_back(Diagnostic{true, library.session->get_diagnostic_file(i),
                                        library.session->get_diagnostic_line(i), -1, 0,
                                        library.session->get_diagnostic_message(i)});
    if (vorn::ISyntax_tree* tree = library.session->get_tree()) {
        print_tree(library, tree, errors);
        tree->release();
    }
    // Errors at no node of the tree come after it.
    for (const Diagnostic& error : errors)
        std::printf("<-- error: %s\n", error.text.c_str());
    return printer.error_count() > 0 ? 1 : 0;
}

// The programs of a generated shader and their file endings. Cg's fragment texts (the main file,
// then the generated text) make one fragment program, in one file; the generated text alone, when
// there is no main file, is the fragment program too.
vornc::Program_set program_set(vorn::IGenerated_shader* shader, const std::string& target)
{
    vornc::Program_set programs;
    uint32_t count = shader->get_program_count();
    for (uint32_t i = 0; i < count; ++i) {
        std::vector<char> text(shader->get_program_size(i) + 1);
        shader->copy_program(i, text.data(), uint32_t(text.size()));
        bool joined = target == "Cg" && i > 1;
        if (joined) {
            programs.texts.back() += text.data();
            continue;
        }
        programs.texts.push_back(text.data());
        uint32_t ending = target == "Cg" && count == 1 ? 1 : i;
        programs.endings.push_back(program_ending(target, ending));
    }
    return programs;
}

// The base name of the programs: the input's name without its folders and its last ending.
std::string base_name(const Input& input)
{
    if (input.from_stdin)
        return "stdin";
    size_t slash = input.name.rfind('/');
    std::string name = slash == std::string::npos ? input.name : input.name.substr(slash + 1);
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

bool ends_with(const std::string& text, const std::string& ending)
{
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

// A unit read from a binary file and completed, or null after any log line about it.
vorn::ICompilation_unit* load_binary(Library& library, const Input& input, Diagnostic_printer& printer)
{
    vorn::ICompilation_unit* unit = library.compiler->create_compilation_unit();
    library.log.lines.clear();
    unit->load_binary(input.name.c_str());
    unit->resolve();
    bool failed = !library.log.lines.empty();
    library.report_log(printer);
    if (failed || (unit->get_shader_count() == 0 && unit->get_function_count() == 0)) {
        printer.error(input.name, "not a usable binary compiled file");
        unit->release();
        return nullptr;
    }
    return unit;
}

bool save_binary(Library& library, vorn::ICompilation_unit* unit, const std::string& file, Diagnostic_printer& printer)
{
    library.log.lines.clear();
    unit->save_binary(file.c_str());
    bool failed = !library.log.lines.empty();
    library.report_log(printer);
    if (failed) {
        printer.error(file, "cannot save the binary compiled file");
        return false;
    }
    std::printf("%s\n", file.c_str());
    return true;
}

// Options are told when the target does not read them; under -Werror that stops the compile.
bool check_options(const Arguments& arguments, Diagnostic_printer& printer)
{
    int before = printer.error_count();
    for (const auto& option : arguments.options) {
        std::string why = vornc::check_option(arguments.target, option.first, option.second);
        if (!why.empty())
            printer.warning("", why);
    }
    return printer.error_count() == before;
}

vorn::IGenerated_shader* generate(Library& library, vorn::ICompilation_unit* unit, const Arguments& arguments,
                                  const Input& input, Diagnostic_printer& printer)
{
    vorn::ICompiler_options* options = library.compiler->create_options();
    // A surface shader makes a whole program; --option shader_type=... asks for a component.
    options->set_option("shader_type", "surface");
    // Cg is a whole program with the renderer's main files unless complete_program=0 says not.
    if (arguments.target == "Cg")
        options->set_option("complete_program", "1");
    if (!arguments.shader.empty())
        options->set_option("shader_name", arguments.shader.c_str());
    for (const auto& option : arguments.options)
        options->set_option(option.first.c_str(), option.second.c_str());
    vorn::IGenerated_shader* shader = unit->generate(arguments.target.c_str(), options);
    options->release();
    library.report_log(printer);
    if (shader)
        return shader;
    std::vector<std::string> shaders;
    for (uint32_t i = 0; i < unit->get_shader_count(); ++i)
        shaders.push_back(unit->get_shader_name(i));
    bool named = !arguments.shader.empty();
    bool known = false;
    for (const std::string& name : shaders)
        known = known || name == arguments.shader;
    if (shaders.empty())
        printer.error(input.name, "no " + arguments.target + " text was generated: the file declares no shader");
    else if (named && !known)
        printer.error(input.name, "no shader '" + arguments.shader + "'; the file declares " + listed(shaders));
    else
        printer.error(input.name, "no " + arguments.target + " text was generated");
    return nullptr;
}

// Checks the target before anything is compiled; 2 after a misuse, else -1.
int check_target(Library& library, const Arguments& arguments, bool required)
{
    std::vector<std::string> names = library.target_names();
    if (arguments.target.empty()) {
        if (!required)
            return -1;
        std::fprintf(stderr, "vornc: compile needs --target; the targets are %s\n", listed(names).c_str());
        return 2;
    }
    for (const std::string& name : names)
        if (name == arguments.target)
            return -1;
    std::fprintf(stderr, "vornc: unknown target '%s'; the targets are %s\n", arguments.target.c_str(),
                 listed(names).c_str());
    return 2;
}

int command_compile(Library& library, const Arguments& arguments, Diagnostic_printer& printer)
{
    if (arguments.rest.size() != 1) {
        std::fprintf(stderr, "vornc: compile needs one file\n");
        return 2;
    }
    Input input = open_input(arguments.rest[0]);
    bool from_binary = ends_with(input.name, ".bovl");
    if (from_binary && !arguments.save_binary.empty()) {
        std::fprintf(stderr, "vornc: --save-binary needs a source file, not a binary one\n");
        return 2;
    }
    bool wants_target = !arguments.target.empty() || arguments.save_binary.empty();
    int misuse = check_target(library, arguments, wants_target);
    if (misuse >= 0)
        return misuse;
    if (wants_target && !check_options(arguments, printer))
        return 1;

    vorn::ICompilation_unit* unit = nullptr;
    bool empty = false;
    bool from_graph = vornc::names_graph_root(arguments);
    if (from_graph) {
        unit = vornc::link_graph_file(library.root, library.compiler, arguments, input.name, printer,
                                      [&] { library.report_log(printer); });
        // A unit linked with errors generates nothing of use.
        if (unit && printer.error_count() > 0) {
            unit->release();
            unit = nullptr;
        }
    } else if (from_binary) {
        unit = load_binary(library, input, printer);
    } else {
        unit = compile_input(library, input, printer, &empty);
        if (empty)
            printer.error(input.name, "nothing to compile (no declarations)");
    }
    if (!unit)
        return 1;
    std::vector<std::string> dependencies = from_binary || from_graph ? std::vector<std::string>{input.name}
                                                                      : run_dependencies(library, input);
    bool ok = true;
    if (!arguments.save_binary.empty() && !arguments.dependencies_only)
        ok = save_binary(library, unit, arguments.save_binary, printer);
    std::vector<std::string> written;
    if (ok && wants_target) {
        vorn::IGenerated_shader* shader = generate(library, unit, arguments, input, printer);
        ok = shader != nullptr;
        if (shader) {
            vornc::Program_set programs = program_set(shader, arguments.target);
            shader->release();
            std::string why;
            if (!vornc::place_programs(arguments.output, base_name(input), !arguments.dependencies_only, programs, why)) {
                std::fprintf(stderr, "vornc: %s\n", why.c_str());
                unit->release();
                return 2;
            }
            written = programs.paths;
            if (!arguments.dependencies_only)
                ok = vornc::write_programs(programs, printer);
        }
    }
    if (!arguments.save_binary.empty())
        written.push_back(arguments.save_binary);
    unit->release();
    if (ok && !vornc::write_dependencies(arguments, written, dependencies, printer))
        ok = false;
    return ok && printer.error_count() == 0 ? 0 : 1;
}

int command_preprocess(Library& library, const Arguments& arguments, Diagnostic_printer& printer)
{
    std::vector<std::string> files = arguments.rest;
    if (!arguments.command.empty() && arguments.command != "check" && arguments.command != "compile")
        files.insert(files.begin(), arguments.command);
    if (files.empty()) {
        std::fprintf(stderr, "vornc: -E needs at least one file\n");
        return 2;
    }
    std::string all;
    std::vector<std::string> dependencies;
    for (const std::string& word : files) {
        Input input = open_input(word);
        const char* text = library.session->preprocess(input.name.c_str(), input.read ? input.text.data() : nullptr,
                                                       uint32_t(input.text.size()));
        report_session(library, printer);
        if (text)
            all += text;
        for (const std::string& file : run_dependencies(library, input))
            dependencies.push_back(file);
    }
    if (printer.error_count() > 0)
        return 1;
    bool to_file = !arguments.output.empty() && arguments.output != "-";
    if (!arguments.dependencies_only) {
        if (to_file) {
            std::string why = vornc::write_file(arguments.output, all);
            if (!why.empty()) {
                printer.error(arguments.output, "cannot write: " + why);
                return 1;
            }
        } else {
            std::fwrite(all.data(), 1, all.size(), stdout);
        }
    }
    std::vector<std::string> written{to_file ? arguments.output : std::string("-")};
    return vornc::write_dependencies(arguments, written, dependencies, printer) ? 0 : 1;
}

// A picture of a surface shader on the quad or the sphere: its C++ text built and run on the CPU (Swrc), or its
// GL pair drawn by OSMesa (GL); the inputs keep their defaults.
int command_preview(Library& library, const Arguments& arguments, Diagnostic_printer& printer)
{
    if (arguments.rest.size() != 1 || arguments.output.empty() || arguments.output == "-") {
        std::fprintf(stderr, "vornc: preview needs one file and -o OUT.png\n");
        return 2;
    }
    if (arguments.target != "Swrc" && arguments.target != "GL") {
        std::fprintf(stderr, "vornc: preview needs --target Swrc (the CPU) or --target GL (OSMesa)\n");
        return 2;
    }
    std::string compiler = "c++";
    for (const auto& option : arguments.options)
        if (option.first == "cplusplus_compiler")
            compiler = option.second;
    Input input = open_input(arguments.rest[0]);
    bool empty = false;
    vorn::ICompilation_unit* unit = compile_input(library, input, printer, &empty);
    if (empty)
        printer.error(input.name, "nothing to preview (no declarations)");
    if (!unit)
        return 1;
    vorn_preview::Shader_interface shader;
    std::string why;
    std::vector<std::string> texts;
    bool ok = vorn_preview::describe(unit, arguments.shader, shader, why);
    if (ok) {
        texts = vorn_preview::generate(library.compiler, unit, arguments.target, shader.name, why);
        ok = !texts.empty();
    }
    unit->release();
    library.report_log(printer);
    const int size = 256;
    const vorn_preview::Shape shape = arguments.shape == "sphere" ? vorn_preview::Shape::sphere : vorn_preview::Shape::quad;
    vorn_preview::Image image;
    if (ok && arguments.target == "Swrc") {
        vorn_preview::Cpu_shaders built;
        vorn_preview::Build_options options;
        options.compiler = compiler;
        options.include_directory = data_directory();
        ok = built.build({texts[0]}, options, why) && built.shade(0, shader, size, size, image, why, shape);
    } else if (ok) {
        std::string companion;
        std::string companion_path = data_directory() + "/vorn_companion.glsl";
        std::FILE* file = std::fopen(companion_path.c_str(), "rb");
        ok = file && vornc::read_stream(file, companion);
        if (file)
            std::fclose(file);
        if (!ok)
            why = "cannot read " + companion_path;
        ok = ok && texts.size() == 2 &&
             vorn_preview::render_gl(texts[0], texts[1], companion, shader, size, size, image, why, shape);
    }
    if (!ok) {
        printer.error(input.name, why);
        return 1;
    }
    std::string written = vornc::write_file(arguments.output, vorn_preview::png_bytes(image));
    if (!written.empty()) {
        printer.error(arguments.output, "cannot write: " + written);
        return 1;
    }
    std::printf("%s\n", arguments.output.c_str());
    return 0;
}

int command_options(const Arguments& arguments, Library& library)
{
    std::vector<std::string> targets = arguments.rest.empty() ? library.target_names() : arguments.rest;
    int status = 0;
    for (const std::string& target : targets) {
        const std::vector<vornc::Option_key>* table = vornc::option_table(target);
        if (!table) {
            std::fprintf(stderr, "vornc: no option table for the target '%s'\n", target.c_str());
            status = arguments.rest.empty() ? status : 1;
            continue;
        }
        for (const vornc::Option_key& key : *table) {
            std::printf("%s %s", target.c_str(), key.key);
            for (size_t i = 0; i < key.values.size(); ++i)
                std::printf("%s%s", i == 0 ? " " : "|", key.values[i]);
            std::printf("%s\n", key.values.empty() ? " TEXT" : "");
        }
    }
    return status;
}

int command_targets(Library& library)
{
    for (const std::string& name : library.target_names())
        std::printf("%s\n", name.c_str());
    return 0;
}

int command_reflect(Library& library, const Arguments& arguments, Diagnostic_printer& printer)
{
    if (arguments.rest.size() != 1) {
        std::fprintf(stderr, "vornc: reflect needs one file\n");
        return 2;
    }
    int misuse = check_target(library, arguments, false);
    if (misuse >= 0)
        return misuse;
    Input input = open_input(arguments.rest[0]);
    bool empty = false;
    vorn::ICompilation_unit* unit = compile_input(library, input, printer, &empty);
    if (empty)
        printer.error(input.name, "nothing to reflect (no declarations)");
    if (!unit)
        return 1;
    std::string json;
    bool ok = vornc::reflect(library.compiler, unit, arguments.target.empty() ? "GL" : arguments.target,
                             arguments.shader, json, printer);
    unit->release();
    library.report_log(printer);
    if (!ok)
        return 1;
    std::fputs(json.c_str(), stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    Arguments arguments;
    int early = vornc::parse_arguments(argc, argv, arguments);
    if (early >= 0)
        return early;
    if (arguments.command.empty() && !arguments.preprocess_only && !arguments.show_version) {
        std::fputs(vornc::usage_text, stderr);
        return 2;
    }
    if (arguments.command == "paths")
        return command_paths(arguments);

    Diagnostic_printer printer(arguments);
    Library library;
    if (!library.start(arguments, printer))
        return printer.error_count() > 0 ? 2 : 1;
    if (arguments.show_version) {
        std::printf("vornc %s\nlibrary interface version %d\n", VORN_VERSION_TEXT,
                    static_cast<int>(library.root->get_api_version()));
        return 0;
    }
    if (arguments.preprocess_only)
        return command_preprocess(library, arguments, printer);
    if (!arguments.depfile.empty() || arguments.dependencies_only) {
        if (arguments.command != "compile") {
            std::fprintf(stderr, "vornc: -M, -MF and --depfile go with compile or -E\n");
            return 2;
        }
    }
    if (arguments.command == "compile")
        return command_compile(library, arguments, printer);
    if (arguments.command == "dump-tree")
        return command_dump_tree(library, arguments, printer);
    if (arguments.command == "check")
        return command_check(library, arguments, printer);
    if (arguments.command == "graph") {
        // The graph command reads the log lines of a graph file's read from standard error.
        library.session->set_log_sink(nullptr);
        return vornc::command_graph(library.root, arguments);
    }
    if (arguments.command == "link")
        return vornc::command_link(library.root, library.compiler, library.session, arguments, printer,
                                   [&] { library.report_log(printer); });
    if (arguments.command == "reflect")
        return command_reflect(library, arguments, printer);
    if (arguments.command == "options")
        return command_options(arguments, library);
    if (arguments.command == "preview")
        return command_preview(library, arguments, printer);
    if (arguments.command == "targets")
        return command_targets(library);
    std::fprintf(stderr, "vornc: unknown command '%s'\n", arguments.command.c_str());
    std::fputs(vornc::usage_text, stderr);
    return 2;
}

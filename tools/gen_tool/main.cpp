// vorn_gen_tool [--target NAME] [--program N] [--debug NAME INDEX] FILE [KEY=VALUE...]: compiles
// FILE (or exports a node of a graph file) and prints the generated text, so that generators can
// be watched and kept as golden files.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "gen_cg/cg_code_generator.h"
#include "flat12/linker.h"
#include "gen_fx/fx_code_generator.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "host/compiler_facade.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/source_printer.h"
#include "system/sequence.h"

namespace {

const char* const usage_text =
    "usage: vorn_gen_tool [--target NAME] [--program N] [--debug NAME INDEX] FILE [KEY=VALUE...]\n"
    "Compiles an Ovrel source file and prints what the target (default FX) generates from it.\n"
    "A result of several programs prints each under a line \"==> program N <==\"; --program N\n"
    "prints program N alone (for GL, 0 is the vertex text and 1 the fragment text).\n"
    "KEY=VALUE pairs are generator options; shader_type (none, surface, light, environment,\n"
    "volume), complete_program (a number), primary_output, shader_name and option_count_hint\n"
    "fill the option record, all other keys are attributes. --debug names the variable and the\n"
    "place of debug display, as the graph linker would.\n"
    "A graph file (.xovl) is exported as a host's render export does it: shader_name names the node\n"
    "or class, and the options lights, environment, volume, external_shadow_function and\n"
    "resolve_unsized_arrays are those of the export, not of the generator.\n"
    "The target Ovrel prints the unit itself as Ovrel source (for an export, what the linker built).\n"
    "Exit status: 0 text printed, 1 any diagnostic or no text, 2 usage.\n";

struct Arguments {
    std::string target = "FX";
    int32_t program = -1;  // all
    std::string file;
    QZ::BACK12::Debug_display debug;
    QZ::COMPILER::Compile_options options;
};

bool read_whole_file(const std::string& path, std::string& text)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    text = buffer.str();
    return !in.bad();
}

int32_t shader_type_number(const std::string& word)
{
    const char* const words[] = {"none", "surface", "light", "environment", "volume"};
    for (int32_t i = 0; i < 5; ++i)
        if (word == words[i])
            return i;
    return -1;
}

bool set_option(QZ::COMPILER::Compile_options& options, const std::string& pair)
{
    size_t equals = pair.find('=');
    if (equals == std::string::npos || equals == 0)
        return false;
    std::string key = pair.substr(0, equals);
    std::string value = pair.substr(equals + 1);
    if (key == "shader_type") {
        options.shader_type = shader_type_number(value);
        return options.shader_type >= 0;
    }
    if (key == "complete_program")
        options.complete_program = uint8_t(std::atoi(value.c_str()));
    else if (key == "primary_output")
        options.primary_output = value;
    else if (key == "shader_name")
        options.shader_name = value;
    else if (key == "option_count_hint")
        options.option_count_hint = std::atoi(value.c_str());
    else
        options.attributes[key] = value;
    return true;
}

// Flags may stand anywhere; the first other word is the file, the rest are options.
bool parse_arguments(int argc, char** argv, Arguments& arguments)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--target") == 0 && i + 1 < argc) {
            arguments.target = argv[++i];
        } else if (std::strcmp(argv[i], "--program") == 0 && i + 1 < argc) {
            char* end = nullptr;
            long number = std::strtol(argv[++i], &end, 10);
            if (!end || *end || number < 0 || number > 1000000)
                return false;
            arguments.program = int32_t(number);
        } else if (std::strcmp(argv[i], "--debug") == 0 && i + 2 < argc) {
            arguments.debug.name = argv[++i];
            arguments.debug.index = std::atoi(argv[++i]);
        } else if (argv[i][0] == '-' && argv[i][1] == '-') {
            return false;
        } else if (arguments.file.empty()) {
            arguments.file = argv[i];
        } else if (!set_option(arguments.options, argv[i])) {
            std::fprintf(stderr, "vorn_gen_tool: bad option '%s'\n", argv[i]);
            return false;
        }
    }
    return !arguments.file.empty();
}

// The FX generator is run directly, so that debug display can be given as the linker would.
bool print_fx(QZ::SYNTAX_TREE::Compilation_unit* unit, const Arguments& arguments)
{
    QZ::BACK12::Generator_input input;
    if (!QZ::BACK12::build_generator_input(unit, arguments.options, input, arguments.debug)) {
        std::fprintf(stderr, "vorn_gen_tool: the unit has no function to generate\n");
        return false;
    }
    QZ::GEN_FX::Fx_code_generator generator(input, arguments.options);
    generator.generate();
    std::fputs(generator.get_text(), stdout);
    return true;
}

// The Cg generator is run directly when debug display is asked for: its text alone, the last
// program of a result.
bool print_cg_debug(QZ::SYNTAX_TREE::Compilation_unit* unit, const Arguments& arguments)
{
    QZ::BACK12::Generator_input input;
    if (!QZ::BACK12::build_generator_input(unit, arguments.options, input, arguments.debug)) {
        std::fprintf(stderr, "vorn_gen_tool: the unit has no function to generate\n");
        return false;
    }
    QZ::GEN_CG::Cg_code_generator generator(input, arguments.options);
    generator.generate();
    std::fputs(generator.get_text(), stdout);
    return true;
}

bool print_ovrel(QZ::SYNTAX_TREE::Compilation_unit* unit)
{
    std::string text;
    std::string error;
    if (!QZ::SYNTAX_TREE::print_source(unit->tree(), text, &error)) {
        std::fprintf(stderr, "vorn_gen_tool: the unit has no source form: %s\n", error.c_str());
        return false;
    }
    std::fputs(text.c_str(), stdout);
    return true;
}

bool print_target(QZ::SYNTAX_TREE::Compilation_unit* unit, const Arguments& arguments)
{
    if (arguments.target == "Ovrel")
        return print_ovrel(unit);
    std::unique_ptr<QZ::BACK12::Generated_shader> result(
        QZ::COMPILER::mod_compiler->generate_shader(unit, arguments.target.c_str(), arguments.options));
    if (!result) {
        std::fprintf(stderr, "vorn_gen_tool: target '%s' gave no result\n", arguments.target.c_str());
        return false;
    }
    uint32_t count = result->program_count();
    if (arguments.program >= 0) {
        const std::string* text = result->program_text(uint32_t(arguments.program));
        if (!text) {
            std::fprintf(stderr, "vorn_gen_tool: target '%s' has %u program(s), no program %d\n",
                         arguments.target.c_str(), count, int(arguments.program));
            return false;
        }
        std::fputs(text->c_str(), stdout);
        return true;
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (count > 1)
            std::printf("==> program %u <==\n", i);
        if (const std::string* text = result->program_text(i))
            std::fputs(text->c_str(), stdout);
    }
    return true;
}

// The unit a render export gives for the node or class that shader_name names; null (with a
// message) when the file, the node or the link fails. The export's options leave the record.
std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> exported(Arguments& arguments)
{
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::GRAPH::Graph_library> library(QZ::GRAPH::load_file(arguments.file.c_str(), nullptr, &errors));
    for (const QZ::SYNTAX_TREE::Error_record& error : errors)
        std::fprintf(stderr, "%s\n", QZ::SYNTAX_TREE::format_error(error, arguments.file.c_str()).c_str());
    if (!library || !errors.empty())
        return nullptr;
    QZ::COMPILER::Compile_options& options = arguments.options;
    auto take = [&](const char* key) {
        auto found = options.attributes.find(key);
        if (found == options.attributes.end())
            return std::unique_ptr<std::string>();
        auto value = std::make_unique<std::string>(found->second);
        options.attributes.erase(found);
        return value;
    };
    std::unique_ptr<std::string> lights = take("lights");
    std::unique_ptr<std::string> environment = take("environment");
    std::unique_ptr<std::string> volume = take("volume");
    std::unique_ptr<std::string> shadow = take("external_shadow_function");
    std::unique_ptr<std::string> resolve = take("resolve_unsized_arrays");
    QZ::FLAT12::Export_settings settings = QZ::HOST::render_export_settings(
        library.get(), lights ? lights->c_str() : nullptr, environment ? environment->c_str() : nullptr,
        volume ? volume->c_str() : nullptr, shadow ? shadow->c_str() : nullptr);
    if (resolve && *resolve == "true")
        settings.flags |= QZ::FLAT12::EXPORT_RESOLVE_UNSIZED_ARRAYS;
    std::string name = options.shader_name;
    // The unit's shader is named after the class; the generator must not look for the node.
    options.shader_name.clear();
    QZ::GRAPH::Graph_node* node = library->find_node(name.c_str());
    QZ::GRAPH::Graph_node_class* node_class = node ? nullptr : library->find_class(name.c_str());
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        node ? QZ::FLAT12::link_for_export(node, settings, nullptr)
             : node_class ? QZ::FLAT12::link_for_export(node_class, settings, nullptr) : nullptr);
    if (!unit)
        std::fprintf(stderr, "vorn_gen_tool: no node or class '%s' in '%s' exports\n", name.c_str(),
                     arguments.file.c_str());
    return unit;
}

bool is_graph_file(const std::string& path)
{
    return path.size() > 5 && path.compare(path.size() - 5, 5, ".xovl") == 0;
}

int run(Arguments& arguments)
{
    if (is_graph_file(arguments.file)) {
        std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit = exported(arguments);
        if (!unit)
            return 1;
        for (const QZ::SYNTAX_TREE::Error_record& error : unit->errors())
            std::fprintf(stderr, "%s\n", QZ::SYNTAX_TREE::format_error(error, "__generated").c_str());
        if (!unit->errors().empty())
            return 1;
        bool direct = arguments.target == "FX" && arguments.program <= 0;
        return (direct ? print_fx(unit.get(), arguments) : print_target(unit.get(), arguments)) ? 0 : 1;
    }
    std::string text;
    if (!read_whole_file(arguments.file, text)) {
        std::fprintf(stderr, "vorn_gen_tool: cannot read '%s'\n", arguments.file.c_str());
        return 1;
    }
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text(arguments.file.c_str(), text.c_str(), &errors));
    // A golden text is only worth keeping for a unit that a host could get: any diagnostic of
    // the library, from the front end or the passes, refuses the input.
    for (const QZ::SYNTAX_TREE::Error_record& error : errors)
        std::fprintf(stderr, "%s\n", QZ::SYNTAX_TREE::format_error(error, arguments.file.c_str()).c_str());
    if (unit)
        for (const QZ::SYNTAX_TREE::Error_record& error : unit->errors())
            std::fprintf(stderr, "%s\n", QZ::SYNTAX_TREE::format_error(error, arguments.file.c_str()).c_str());
    if (!unit || !errors.empty() || !unit->errors().empty())
        return 1;
    bool direct = arguments.target == "FX" && arguments.program <= 0;
    bool cg_debug = arguments.target == "Cg" && arguments.debug.index >= 0;
    bool printed = direct     ? print_fx(unit.get(), arguments)
                   : cg_debug ? print_cg_debug(unit.get(), arguments)
                              : print_target(unit.get(), arguments);
    return printed ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc >= 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(usage_text, stdout);
        return 0;
    }
    Arguments arguments;
    if (!parse_arguments(argc, argv, arguments)) {
        std::fputs(usage_text, stderr);
        return 2;
    }
    QZ::SYSTEM::start_sequence();
    int status = run(arguments);
    std::fflush(stdout);
    QZ::SYSTEM::stop_sequence();
    return status;
}

// vorn_graph_tool signatures | generate DIR | resave IN OUT: the intrinsic math classes of a new
// library, as one signature a line ("Math_Scalar_Add(Scalar left, Scalar right) -> Scalar"), or
// generated: for the class at position N, DIR/N_NAME.fx (FX in its HLSL form) and DIR/N_NAME.vert
// and .frag (GL); or a graph file read and saved again, as the graph file goldens are made.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "graph/graph_file.h"
#include "syntax_tree/diagnostics.h"
#include "graph/graph_library.h"
#include "graph/node_class.h"
#include "system/sequence.h"

namespace {

const char* const usage_text =
    "usage: vorn_graph_tool signatures | generate DIR | resave IN OUT\n"
    "signatures: one line per intrinsic math class, in library order: name, inputs, output type.\n"
    "generate: the FX (format=HLSL) and GL texts of every intrinsic class, written into DIR.\n"
    "resave: the graph file IN loaded and saved as OUT; the read's messages on standard error.\n"
    "Exit status: 0 done, 1 a class gave no text, the file had problems or could not be\n"
    "written, 2 usage.\n";

std::string type_text(const QZ::GRAPH::Parameter& parameter) { return parameter.type_name_text(); }

std::string signature(const QZ::GRAPH::Graph_node_class& node_class)
{
    std::string line = std::string(node_class.name()) + "(";
    for (size_t i = 0; i < node_class.inputs.size(); ++i)
        line += (i ? ", " : "") + type_text(node_class.inputs[i]) + " " + node_class.inputs[i].name();
    line += ") ->";
    for (const QZ::GRAPH::Parameter& output : node_class.outputs)
        line += " " + type_text(output) + " " + output.name();
    return line;
}

bool write_file(const std::string& path, const std::string* text)
{
    std::ofstream out(path, std::ios::binary);
    if (text)
        out << *text;
    return text && out.good();
}

bool generate(QZ::SYNTAX_TREE::Compilation_unit* unit, const char* target, const std::string& base)
{
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    options.complete_program = 1;
    if (std::strcmp(target, "FX") == 0)
        options.attributes["format"] = "HLSL";
    std::unique_ptr<QZ::BACK12::Generated_shader> shader(
        QZ::COMPILER::mod_compiler->generate_shader(unit, target, options));
    if (!shader)
        return false;
    if (std::strcmp(target, "FX") == 0)
        return write_file(base + ".fx", shader->program_text(0));
    return write_file(base + ".vert", shader->program_text(0)) && write_file(base + ".frag", shader->program_text(1));
}

int resave(const char* in, const char* out)
{
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::GRAPH::Graph_library> library(QZ::GRAPH::load_file(in, nullptr, &errors));
    for (const auto& error : errors)
        std::fprintf(stderr, "%s\n", QZ::SYNTAX_TREE::format_error(error, in).c_str());
    if (!library || !library->save(out)) {
        std::fprintf(stderr, "vorn_graph_tool: %s was not read and saved\n", in);
        return 1;
    }
    return errors.empty() ? 0 : 1;
}

int run(int argc, char** argv)
{
    if (std::strcmp(argv[1], "resave") == 0)
        return resave(argv[2], argv[3]);
    QZ::GRAPH::Graph_library library;
    library.add_intrinsic_classes();
    bool generating = std::strcmp(argv[1], "generate") == 0;
    int status = 0;
    for (size_t i = 0; i < library.velar_classes.size(); ++i) {
        QZ::GRAPH::Graph_node_class& node_class = *library.velar_classes[i];
        if (!generating) {
            std::printf("%s\n", signature(node_class).c_str());
            continue;
        }
        std::string base = std::string(argv[2]) + "/" + std::to_string(i) + "_" + node_class.name();
        for (const char* target : {"FX", "GL"})
            if (!generate(node_class.compilation_unit(), target, base)) {
                std::fprintf(stderr, "vorn_graph_tool: %s gave no %s text\n", node_class.name(), target);
                status = 1;
            }
    }
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    bool signatures = argc == 2 && std::strcmp(argv[1], "signatures") == 0;
    bool generating = argc == 3 && std::strcmp(argv[1], "generate") == 0;
    bool resaving = argc == 4 && std::strcmp(argv[1], "resave") == 0;
    if (!signatures && !generating && !resaving) {
        std::fputs(usage_text, argc >= 2 && std::strcmp(argv[1], "--help") == 0 ? stdout : stderr);
        return argc >= 2 && std::strcmp(argv[1], "--help") == 0 ? 0 : 2;
    }
    QZ::SYSTEM::start_sequence();
    int status = run(argc, argv);
    std::fflush(stdout);
    QZ::SYSTEM::stop_sequence();
    return status;
}

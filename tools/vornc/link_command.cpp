#include "link_command.h"

#include <cstdio>
#include <vector>

#include "output.h"

namespace vornc {

namespace {

template <typename T>
struct Held {
    T* object;
    explicit Held(T* made) : object(made) {}
    ~Held()
    {
        if (object)
            object->release();
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    T* operator->() const { return object; }
    explicit operator bool() const { return object != nullptr; }
};

// Each record of the collector as an error; returns how many there were.
uint32_t report_errors(vorn::ICompiler_errors* errors, Diagnostic_printer& printer)
{
    std::vector<char> message;
    for (uint32_t i = 0; i < errors->get_count(); ++i) {
        message.resize(errors->get_message_length(i) + 1);
        errors->get_message(i, message.data(), uint32_t(message.size()));
        printer.report(Diagnostic{true, "", errors->get_line(i), errors->get_column(i), errors->get_error_number(i),
                                  message.data()});
    }
    return errors->get_count();
}

// "A, B and C" of the names of the file's nodes or classes, for a name that is not there.
template <typename Owner, typename Getter>
std::string names_of(Owner* owner, uint32_t count, Getter get)
{
    std::string out;
    for (uint32_t i = 0; i < count; ++i) {
        auto* item = (owner->*get)(i);
        if (!item)
            continue;
        out += (out.empty() ? "" : i + 1 == count ? " and " : ", ") + std::string(item->get_name());
        item->release();
    }
    return out.empty() ? "none" : out;
}

// A render export of the node or class: its lights and environment as compile_for_render takes
// them. A light name that the file does not have is told; the light keeps its number.
vorn::ICompilation_unit* export_for_render(vorn::IVorn_compiler* compiler, vorn::IGraph_library* library,
                                           const Arguments& arguments, const std::string& file,
                                           Diagnostic_printer& printer)
{
    const std::string& name = arguments.node.empty() ? arguments.node_class : arguments.node;
    if (!arguments.node.empty()) {
        Held<vorn::IGraph_node> node(library->find_node(name.c_str()));
        if (!node) {
            printer.error(file, "no node '" + name + "'; the file has " +
                                    names_of(library, library->get_node_count(), &vorn::IGraph_library::get_node));
            return nullptr;
        }
    } else {
        Held<vorn::IGraph_node_class> node_class(library->find_class(name.c_str()));
        if (!node_class) {
            printer.error(file, "no class '" + name + "'; the file has " +
                                    names_of(library, library->get_class_count(), &vorn::IGraph_library::get_class));
            return nullptr;
        }
    }
    std::string lights = arguments.lights ? *arguments.lights : std::string();
    for (size_t at = 0; arguments.lights && at <= lights.size();) {
        size_t comma = lights.find(',', at);
        std::string light = lights.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
        size_t start = light.find_first_not_of(" \t");
        light = start == std::string::npos ? std::string() : light.substr(start);
        Held<vorn::IGraph_node> found(light.empty() ? nullptr : library->find_node(light.c_str()));
        if (!light.empty() && !found)
            printer.error(file, "no light node '" + light + "'; the file has " +
                                    names_of(library, library->get_node_count(), &vorn::IGraph_library::get_node));
        if (comma == std::string::npos)
            break;
        at = comma + 1;
    }
    if (!arguments.environment.empty()) {
        Held<vorn::IGraph_node> found(library->find_node(arguments.environment.c_str()));
        if (!found)
            printer.error(file, "no environment node '" + arguments.environment + "'");
    }
    Held<vorn::ICompiler_options> options(compiler->create_options());
    options->set_option("shader_name", name.c_str());
    // An empty list is set as a lone comma: an empty value would remove the option.
    if (arguments.lights)
        options->set_option("lights", lights.empty() ? "," : lights.c_str());
    if (!arguments.environment.empty())
        options->set_option("environment", arguments.environment.c_str());
    Held<vorn::ICompiler_errors> errors(compiler->create_errors());
    vorn::ICompilation_unit* unit = compiler->compile_for_render(library, errors.object, options.object);
    report_errors(errors.object, printer);
    return unit;
}

vorn::ICompilation_unit* link_node(vorn::IVorn_compiler* compiler, vorn::IGraph_library* library,
                                   const Arguments& arguments, const std::string& file, Diagnostic_printer& printer)
{
    Held<vorn::IGraph_node> node(library->find_node(arguments.node.c_str()));
    if (!node) {
        printer.error(file, "no node '" + arguments.node + "'; the file has " +
                                names_of(library, library->get_node_count(), &vorn::IGraph_library::get_node));
        return nullptr;
    }
    Held<vorn::ICompiler_errors> errors(compiler->create_errors());
    vorn::ICompilation_unit* unit = compiler->compile_graph(node.object, errors.object, nullptr);
    report_errors(errors.object, printer);
    return unit;
}

vorn::ICompilation_unit* link_class(vorn::IVorn_compiler* compiler, vorn::IGraph_library* library,
                                    const Arguments& arguments, const std::string& file, Diagnostic_printer& printer)
{
    Held<vorn::IGraph_node_class> node_class(library->find_class(arguments.node_class.c_str()));
    if (!node_class) {
        printer.error(file, "no class '" + arguments.node_class + "'; the file has " +
                                names_of(library, library->get_class_count(), &vorn::IGraph_library::get_class));
        return nullptr;
    }
    return compiler->compile_node_class(node_class.object);
}

}  // namespace

bool names_graph_root(const Arguments& arguments)
{
    return !arguments.node.empty() || !arguments.node_class.empty();
}

vorn::ICompilation_unit* link_graph_file(vorn::IVorn* root, vorn::IVorn_compiler* compiler,
                                         const Arguments& arguments, const std::string& file,
                                         Diagnostic_printer& printer, const std::function<void()>& flush_log)
{
    Held<vorn::IVorn_graph> graph(static_cast<vorn::IVorn_graph*>(root->get_interface(vorn::IID_VORN_GRAPH)));
    if (!graph) {
        printer.error("", "the library offers no graphs");
        return nullptr;
    }
    Held<vorn::ICompiler_errors> errors(compiler->create_errors());
    Held<vorn::IGraph_library> library(graph->load_library(file.c_str(), nullptr, errors.object));
    report_errors(errors.object, printer);
    flush_log();
    if (!library) {
        printer.error(file, "cannot read the graph file");
        return nullptr;
    }
    bool render = arguments.lights || !arguments.environment.empty();
    vorn::ICompilation_unit* unit = render                    ? export_for_render(compiler, library.object, arguments, file, printer)
                                    : !arguments.node.empty() ? link_node(compiler, library.object, arguments, file, printer)
                                                              : link_class(compiler, library.object, arguments, file, printer);
    // The linker tells why a link failed (a cycle, a class without main) by log lines.
    flush_log();
    if (!unit && printer.error_count() == 0)
        printer.error(file, "cannot link " + (arguments.node.empty() ? "class '" + arguments.node_class + "'"
                                                                   : "node '" + arguments.node + "'"));
    return unit;
}

int command_link(vorn::IVorn* root, vorn::IVorn_compiler* compiler, vorn::ICompile_session* session,
                 const Arguments& arguments, Diagnostic_printer& printer, const std::function<void()>& flush_log)
{
    if (arguments.rest.size() != 1) {
        std::fprintf(stderr, "vornc: link needs one graph file\n");
        return 2;
    }
    if (arguments.node.empty() == arguments.node_class.empty()) {
        std::fprintf(stderr, "vornc: link needs --node NAME or --class NAME\n");
        return 2;
    }
    const std::string& file = arguments.rest[0];
    vorn::ICompilation_unit* unit = link_graph_file(root, compiler, arguments, file, printer, flush_log);
    if (!unit)
        return 1;
    const char* text = session->print_source(unit);
    unit->release();
    for (uint32_t i = 0; i < session->get_diagnostic_count(); ++i)
        printer.error(file, session->get_diagnostic_message(i));
    if (!text)
        return 1;
    if (arguments.output.empty() || arguments.output == "-") {
        std::fputs(text, stdout);
    } else {
        std::string why = write_file(arguments.output, text);
        if (!why.empty())
            printer.error(arguments.output, "cannot write: " + why);
    }
    return printer.error_count() > 0 ? 1 : 0;
}

}  // namespace vornc

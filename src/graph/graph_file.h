// The graph file (.xovl): a library written as XML and read back into a library.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "compiler/xml_reader.h"
#include "compiler/xml_writer.h"
#include "syntax_tree/error_record.h"

namespace QZ {
namespace SYNTAX_TREE {
class Type;
class Named_type;
}

namespace GRAPH {

class Graph_library;
class Graph_node;
class Graph_node_class;
class Compage_node_class;
class Parameter;

// Diagnostics, each list under the name of the file it is about.
using File_errors = std::vector<std::pair<std::string, SYNTAX_TREE::Error_list>>;

// The host's own data inside gui_data and render_data.
using Gui_write_callback = void (*)(void* context, Graph_node* node, COMPILER::Gui_data_writer* writer);
using Render_write_callback = void (*)(void* context, COMPILER::Render_data_writer* writer);
using Gui_read_callback = void (*)(void* context, Graph_node* node, const char* text);
using Render_read_callback = void (*)(void* context, const char* text);

// A host-side lookup of classes that a file names but does not define.
class Graph_class_resolver {
public:
    virtual ~Graph_class_resolver() = default;
    virtual Graph_node_class* find_class(const char* name) = 0;
    virtual bool provides_intrinsics() = 0;
};

struct Graph_write_hooks {
    Gui_write_callback gui = nullptr;
    void* gui_context = nullptr;
    Render_write_callback render = nullptr;
    void* render_context = nullptr;
};

struct Graph_read_hooks {
    Gui_read_callback gui = nullptr;
    void* gui_context = nullptr;
    Render_read_callback render = nullptr;
    void* render_context = nullptr;
};

class Xml_graph_library_writer : public COMPILER::Xml_writer {
public:
    Xml_graph_library_writer(const Graph_library& library, const char* path, const Graph_write_hooks& hooks);

    // The document into the file; on success the library remembers path.
    static bool write(Graph_library& library, const char* path, const Graph_write_hooks& hooks = {});

protected:
    void write_body() override;

private:
    void write_sources();
    void write_compound(const Compage_node_class& compound);
    void write_class_parameter(const char* element, const Parameter& parameter);
    void write_node(const Graph_node& node);
    void write_nodes(const std::vector<Graph_node*>& nodes);
    void write_attachments(const Parameter& parameter, bool interface_only);
    void write_value(const SYNTAX_TREE::Type& type, const void* block);
    void write_element_value(const SYNTAX_TREE::Type& type, const void* element);
    void write_struct_value(const SYNTAX_TREE::Type& type, const void* block);

    const Graph_library& library_;
    std::string path_;
    Graph_write_hooks hooks_;
    uint32_t struct_depth_ = 0;  // struct values open around the one being written
};

// The value text of one element of a type that is neither struct nor array.
std::string value_text(const SYNTAX_TREE::Type& type, const void* element);
// Parses text into element (zeroed, of the element's size); false for a type without a text.
bool parse_value_text(const SYNTAX_TREE::Type& type, const char* text, void* element);

// Compound classes so that a class follows every compound its inner nodes use.
std::vector<const Compage_node_class*> sorted_compounds(const Graph_library& library);
// Nodes so that a node follows the nodes its inputs name; independent ones by name.
std::vector<const Graph_node*> sorted_nodes(const std::vector<Graph_node*>& nodes);

class Xml_graph_library_reader : public COMPILER::Xml_reader {
public:
    // An existing library is read into; its classes' sources and struct types count as seen.
    Xml_graph_library_reader(Graph_library* library, Graph_class_resolver* resolver, const Graph_read_hooks& hooks);
    ~Xml_graph_library_reader() override;

    Graph_library* library() const { return library_; }
    // The diagnostics of each source file compiled, apart from those of the graph file itself.
    const File_errors& source_errors() const { return source_errors_; }

    static constexpr uint32_t MAX_VALUE_DEPTH = 256;

protected:
    void setup_parser(XML_Parser parser) override;

private:
    struct Frame;
    static void XMLCALL on_start(void* data, const char* name, const char** attributes);
    static void XMLCALL on_end(void* data, const char* name);

    void start_element(const char* name, const char** attributes);
    void end_element(const char* name);
    void start_ovrel_code(const char** attributes);
    void start_compage(const char** attributes);
    void start_node(const char** attributes);
    void start_parameter(bool is_input, const char** attributes);
    void start_node_parameter(bool is_input, const char** attributes);
    void start_compage_parameter(bool is_input, const char** attributes);
    void start_attachment(const char** attributes);
    void start_simple_value(const char** attributes);
    void start_struct_value();
    void start_member_value(const char** attributes);
    void end_parameter();
    void pop_frame();
    void compile_source(const std::string& path);
    void enter_types(const Graph_node_class& node_class);
    Graph_node_class* find_class(const char* name);
    Graph_node_class* adopt(Graph_node_class* outside);
    Graph_node* find_target(const char* name);
    const SYNTAX_TREE::Type* find_type(const char* name);
    struct Places {
        int32_t first;
        int32_t last;
    };
    using Name_index = std::unordered_map<std::string, Places>;
    struct Node_index {
        Name_index names;
        size_t size = 0;
    };
    Parameter* current_parameter();
    Parameter* find_current_parameter();
    Name_index& node_index(bool is_input);
    void add_to_node_index(bool is_input, const char* name);
    void* value_root();

    Graph_library* library_;
    Graph_class_resolver* resolver_;
    Graph_read_hooks hooks_;
    std::set<std::string> source_seen_;
    File_errors source_errors_;
    std::unordered_map<std::string, std::unique_ptr<SYNTAX_TREE::Type>> local_types_;
    std::unordered_map<std::string, std::unique_ptr<SYNTAX_TREE::Type>> builtin_types_;
    std::unordered_map<std::string, Graph_node*> top_nodes_;
    std::unordered_map<std::string, Graph_node*> inner_nodes_;
    std::unique_ptr<Compage_node_class> compound_;
    Graph_node* node_ = nullptr;
    bool skipping_ = false;
    bool intrinsics_seen_ = false;
    // The current parameter: by list and name, as adding parameters moves them; its place in
    // its list is found once when it opens (nothing is added to a list while one is open).
    std::string parameter_name_;
    int32_t parameter_index_ = -1;
    // The first and last place of each name in the current node's inputs and outputs, kept as
    // this reader adds to them, so that a node of many parameters is read in linear time.
    const Graph_node* indexed_node_ = nullptr;
    Node_index node_inputs_;
    Node_index node_outputs_;
    bool parameter_open_ = false;
    bool parameter_is_input_ = true;
    bool parameter_on_interface_ = false;
    // The value being read in child elements.
    std::unique_ptr<SYNTAX_TREE::Type> value_type_;
    void* value_block_ = nullptr;
    std::vector<Frame> frames_;
    std::unique_ptr<COMPILER::Capture> capture_;
};

// A library read from a file or a string, or into an existing library when into is given. The
// reader's errors, then those of each source file it compiled, are appended to errors, and to
// by_file each list under its file's name (the graph file's own first; "unknown file" for a
// string). Null only when nothing could be read (no file, no text); XML errors and the messages
// of the read leave what was read so far.
Graph_library* load_file(const char* path, Graph_class_resolver* resolver, SYNTAX_TREE::Error_list* errors,
                         const Graph_read_hooks& hooks = {}, Graph_library* into = nullptr,
                         File_errors* by_file = nullptr);
Graph_library* load_string(const char* text, Graph_class_resolver* resolver, SYNTAX_TREE::Error_list* errors,
                           const Graph_read_hooks& hooks = {}, Graph_library* into = nullptr,
                           File_errors* by_file = nullptr);

}  // namespace GRAPH
}  // namespace QZ

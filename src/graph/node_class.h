// Node classes: the types of graph nodes. A Velar_node_class wraps one shader class of a
// compiled unit; a Compage_node_class is a compound whose code is an inner graph.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "graph/annotation.h"
#include "graph/graph_observer.h"
#include "graph/parameter.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
class Named_type;
}

namespace GRAPH {

class Graph_node;
class Velar_node_class;
class Compage_node_class;

// From class to class: the remap of copy_from and the visited map of equals.
using Class_map = std::unordered_map<const Graph_node_class*, const Graph_node_class*>;

enum Node_class_kind : uint32_t { CLASS_COMPAGE = 0, CLASS_VELAR = 1 };

// A compiled source and the classes built from it, so that recompiling reaches them. The classes
// keep it alive; drop_classes cuts them off, after which each has lost its source.
class Compiled_source {
public:
    // An empty file_path stands for a source without a file (built from a string or from trees).
    Compiled_source(std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit, std::string file_path);
    ~Compiled_source();
    Compiled_source(const Compiled_source&) = delete;
    Compiled_source& operator=(const Compiled_source&) = delete;

    SYNTAX_TREE::Compilation_unit* unit() const { return unit_.get(); }
    const std::shared_ptr<SYNTAX_TREE::Compilation_unit>& shared_unit() const { return unit_; }
    const std::string& file_path() const { return file_path_; }
    const std::vector<Velar_node_class*>& classes() const { return classes_; }

    // A recompiled unit: every class refreshes from it (a unit with errors leaves them alone).
    void set_unit(std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit);
    // Every class loses this source; the holder goes when the last class let go.
    static void drop_classes(const std::shared_ptr<Compiled_source>& source);

private:
    friend class Velar_node_class;
    void add_class(Velar_node_class* node_class) { classes_.push_back(node_class); }
    void remove_class(Velar_node_class* node_class);

    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit_;
    std::string file_path_;
    std::vector<Velar_node_class*> classes_;
};

class Graph_node_class {
public:
    Graph_node_class() = default;
    Graph_node_class(const Graph_node_class&) = delete;
    Graph_node_class& operator=(const Graph_node_class&) = delete;

    // ORDER: the virtual operations keep this order; the facade and the files rely on it.
    virtual ~Graph_node_class();                                                          // 0
    virtual uint32_t kind() const = 0;                                                    // 1
    virtual const char* name() const = 0;                                                 // 2
    virtual void set_name(const char* name) = 0;                                          // 3
    virtual SYNTAX_TREE::Compilation_unit* compilation_unit() const = 0;                  // 4
    virtual void file_name(std::string& out) const = 0;                                   // 5
    virtual void file_path(std::filesystem::path& out) const = 0;                         // 6
    virtual Graph_node_class* clone() const = 0;                                          // 7
    virtual void copy_from(const Graph_node_class* other, const Class_map& remap) = 0;    // 8
    virtual bool equals(const Graph_node_class* other, const Class_map& visited) const = 0;  // 9
    virtual bool has_no_file() const = 0;                                                 // 10
    virtual void add_parameter(bool is_input, const Parameter& parameter);                // 11
    virtual void insert_parameter(bool is_input, uint32_t index, const Parameter& parameter);  // 12
    virtual void remove_parameter(bool is_input, const char* name);                       // 13
    virtual Graph_node* create_node(const char* name);                                    // 14
    virtual void remove_node(Graph_node* node);                                           // 15
    virtual void sync_nodes();                                                            // 16
    virtual bool is_trivial() const;                                                      // 17

    // True once a library holds the class.
    bool has_owner() const { return owner_ != nullptr; }

    // Sets a class parameter's default, telling the class observer; the twin of the node's.
    void set_value(Parameter& parameter, const void* bytes);

    Parameter_list inputs;
    Parameter_list outputs;
    std::vector<Graph_node*> nodes;  // not owned; instances in creation order
    std::unique_ptr<Graph_user_data> user_data;
    Annotation_list annotations;
    Graph_observer* observer = nullptr;

protected:
    Parameter_list& list(bool is_input) { return is_input ? inputs : outputs; }

private:
    friend class Graph_node;
    friend class Graph_library;
    // Every live node whose class this is, even after remove_node: they lose their class when
    // it goes. Each node knows its place here, so leaving costs no search.
    std::vector<Graph_node*> instances_;
    // The library that will delete the class; one at most.
    const void* owner_ = nullptr;
};

class Velar_node_class : public Graph_node_class {
public:
    // Registers with source and builds the parameters from its unit.
    Velar_node_class(std::shared_ptr<Compiled_source> source, const char* name);
    ~Velar_node_class() override;

    uint32_t kind() const override { return CLASS_VELAR; }
    const char* name() const override { return name_.c_str(); }
    void set_name(const char* name) override;
    SYNTAX_TREE::Compilation_unit* compilation_unit() const override;
    void file_name(std::string& out) const override;
    void file_path(std::filesystem::path& out) const override;
    Graph_node_class* clone() const override;
    void copy_from(const Graph_node_class* other, const Class_map& remap) override;
    bool equals(const Graph_node_class* other, const Class_map& visited) const override;
    bool has_no_file() const override;
    bool is_trivial() const override;

    // Rebuilds parameters and annotations from the unit and syncs the nodes, unless the unit
    // has errors or is missing.
    void refresh_from_unit();

    Compiled_source* source() const { return source_.get(); }

private:
    friend class Compiled_source;
    void rebuild_from_unit();
    void lose_source();

    std::string name_;
    std::shared_ptr<Compiled_source> source_;
};

class Compage_node_class : public Graph_node_class {
public:
    explicit Compage_node_class(const char* name);
    ~Compage_node_class() override;

    uint32_t kind() const override { return CLASS_COMPAGE; }
    const char* name() const override { return name_.c_str(); }
    void set_name(const char* name) override;
    SYNTAX_TREE::Compilation_unit* compilation_unit() const override { return unit.get(); }
    void file_name(std::string& out) const override { out = file_name_text; }
    void file_path(std::filesystem::path& out) const override { out = file_name_text; }
    Graph_node_class* clone() const override;
    void copy_from(const Graph_node_class* other, const Class_map& remap) override;
    bool equals(const Graph_node_class* other, const Class_map& visited) const override;
    bool has_no_file() const override { return false; }
    void add_parameter(bool is_input, const Parameter& parameter) override;
    void insert_parameter(bool is_input, uint32_t index, const Parameter& parameter) override;
    void remove_parameter(bool is_input, const char* name) override;

    // The inner graph. add_inner_node takes ownership and tells the observer; a node that this
    // or another compound already holds is left alone. remove_inner_node detaches the node's wires and deletes it;
    // false for a node that is not inside.
    void add_inner_node(Graph_node* node);
    bool remove_inner_node(Graph_node* node);
    Graph_node* find_inner_node(const char* name) const;
    bool holds(const Graph_node* node) const;

    // Wires an interface output to the output of an inner node, or, with a null source, to the
    // interface input of that name.
    void attach_interface(const char* interface_output, Graph_node* source, const char* source_name);

    // A struct type that the parameters use, by name; null for none.
    const SYNTAX_TREE::Named_type* find_local_type(const char* name) const;

    Parameter_list interface_inputs;
    Parameter_list interface_outputs;
    std::vector<Graph_node*> inner_nodes;  // owned, in creation order
    std::vector<std::unique_ptr<SYNTAX_TREE::Named_type>> local_types;
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit;  // the linker's, may be null
    std::string file_name_text;                           // empty until read from or saved to a file

private:
    friend class Graph_node;
    Parameter_list& interface_list(bool is_input) { return is_input ? interface_inputs : interface_outputs; }
    // Records that an interface attachment points at target, so that target's end removes it.
    void note_target(Graph_node* target);
    void note_interface_targets();
    void forget_target(Graph_node* target);

    std::string name_;
    std::unordered_set<Graph_node*> targets_;    // nodes that interface records may point at
    std::unordered_set<Graph_node*> children_;   // nodes whose parent this is
};

// Any text as a legal identifier: "2nd pass" gives "_2nd_pass", "shader" "_shader_", "" "_".
std::string make_identifier(const char* text);

}  // namespace GRAPH
}  // namespace QZ

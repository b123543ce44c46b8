// The host's view of shader graphs: libraries, classes, nodes, their parameters, wires and
// annotations. Wrappers never own a node or class that a library holds; each checks, before it
// touches one, that the object still exists, and refuses with a log line when it does not.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "graph/annotation.h"
#include "graph/parameter.h"
#include "host/interface_impl.h"
#include "syntax_tree/error_record.h"

namespace QZ {
namespace GRAPH {
class Graph_library;
class Graph_node;
class Graph_node_class;
class Compage_node_class;
class Graph_observer;
}

namespace HOST {

// A flag that turns false when the graph object it was taken from ends.
using Life = std::shared_ptr<const bool>;
Life life_of(GRAPH::Graph_node* node);
Life life_of(GRAPH::Graph_node_class* node_class);

// New wrappers at count 1; null for null.
vorn::IGraph_node* wrap_node(GRAPH::Graph_node* node);
// An owning wrapper deletes the class when it goes, unless a library took it meanwhile.
vorn::IGraph_node_class* wrap_class(GRAPH::Graph_node_class* node_class, bool owning = false);
vorn::ICompage_node_class* wrap_compound(GRAPH::Compage_node_class* node_class);
vorn::IGraph_library* wrap_library(const std::shared_ptr<GRAPH::Graph_library>& library);
// A library made by the facade, shared by its wrappers; the observer's wrappers find it again.
std::shared_ptr<GRAPH::Graph_library> share_library(GRAPH::Graph_library* library);

// The live object behind a host argument. Null for null, for an object the host made itself, and
// for one that has ended; the last two are logged as refusals of operation.
GRAPH::Graph_node* node_argument(vorn::IGraph_node* node, const char* operation);
GRAPH::Graph_node_class* class_argument(vorn::IGraph_node_class* node_class, const char* operation);
GRAPH::Graph_library* library_argument(vorn::IGraph_library* library, const char* operation);

// A refusal of a host call: "NAME refused: WHY" under the graph module.
void refuse(const char* operation, const char* why);

// The observer that forwards to a host's; one per host observer for the life of the process.
GRAPH::Graph_observer* observer_bridge(vorn::IGraph_observer* host);
vorn::IGraph_observer* host_observer(GRAPH::Graph_observer* observer);

// A class linked into a unit of its own: a compound through its inner graph, a class from a
// source as its shader alone. Null when it cannot be linked.
vorn::ICompilation_unit* compile_class(GRAPH::Graph_node_class* node_class);


class Graph_node_wrapper : public Counted_interface<vorn::IGraph_node, vorn::IID_GRAPH_NODE> {
public:
    explicit Graph_node_wrapper(GRAPH::Graph_node* node);

    void* get_internal() override;
    const char* get_name() override;
    void set_name(const char* name) override;
    vorn::IGraph_node_class* get_node_class() override;
    vorn::ICompage_node_class* get_compage_class() override;
    void attach(const char* input_path, vorn::IGraph_node* target, const char* target_path) override;
    void detach(const char* input_path) override;
    bool set_parameter_value(const char* name, const void* bytes) override;
    const void* get_parameter_value(const char* path) override;
    vorn::IParameter_iterator* get_parameters(uint32_t selector) override;
    uint32_t get_parameter_count(uint32_t selector) override;
    bool add_parameter(uint32_t selector, const char* name, vorn::IType* type, const void* default_value) override;
    bool remove_parameter(uint32_t selector, const char* name) override;
    vorn::IGraph_observer* get_observer() override;
    void set_observer(vorn::IGraph_observer* observer) override;
    void destroy() override;
    vorn::IGraph_annotations* get_annotations() override;
    vorn::ICompage_node_class* get_parent() override;

    // The node, or null (and a logged refusal of operation) once it has ended.
    GRAPH::Graph_node* live(const char* operation);

private:
    GRAPH::Graph_node* node_;
    Life life_;
};

// What every class wrapper shares, whatever its interface.
class Class_handle {
public:
    Class_handle(GRAPH::Graph_node_class* node_class, bool owning);
    virtual ~Class_handle();
    GRAPH::Graph_node_class* live(const char* operation);
    GRAPH::Graph_node_class* peek() const;

protected:
    std::string file_name_;  // what get_file_name answered last

private:
    GRAPH::Graph_node_class* class_;
    Life life_;
    bool owning_;
};

// The operations of IGraph_node_class over a Class_handle, for each class interface.
template <typename Base, int32_t ID>
class Class_wrapper : public Counted_interface<Base, ID>, public Class_handle {
public:
    Class_wrapper(GRAPH::Graph_node_class* node_class, bool owning) : Class_handle(node_class, owning) {}

    // A class answers the general class id as well as that of its kind.
    vorn::Interface* get_interface(int32_t id) override
    {
        if (id != ID && id != vorn::IID_GRAPH_NODE_CLASS)
            return nullptr;
        this->retain();
        return this;
    }
    void* get_internal() override { return peek(); }
    const char* get_name() override;
    void set_name(const char* name) override;
    bool add_parameter(uint32_t selector, const char* name, vorn::IType* type, const void* default_value) override;
    bool remove_parameter(uint32_t selector, const char* name) override;
    bool set_parameter_value(const char* name, const void* bytes) override;
    const void* get_parameter_value(const char* path) override;
    vorn::IParameter_iterator* get_parameters(uint32_t selector) override;
    int32_t find_parameter(uint32_t selector, const char* name) override;
    uint32_t get_instance_count() override;
    vorn::IGraph_node* get_instance(uint32_t index) override;
    vorn::IGraph_observer* get_observer() override;
    void set_observer(vorn::IGraph_observer* observer) override;
    vorn::ISyntax_tree* get_shader_tree() override;
    vorn::ICompilation_unit* compile() override;
    vorn::IGraph_annotations* get_annotations() override;
    const char* get_file_name() override;
};

using Velar_node_class_wrapper = Class_wrapper<vorn::IVelar_node_class, vorn::IID_VELAR_NODE_CLASS>;

class Compage_node_class_wrapper : public Class_wrapper<vorn::ICompage_node_class, vorn::IID_COMPAGE_NODE_CLASS> {
public:
    using Class_wrapper::Class_wrapper;

    uint32_t get_node_count() override;
    vorn::IGraph_node* get_node(uint32_t index) override;
    bool add_node(vorn::IGraph_node* node) override;
    bool remove_node(vorn::IGraph_node* node) override;
    vorn::IGraph_node* create_node(vorn::IGraph_node_class* node_class, const char* name) override;
    vorn::IGraph_node* find_node(const char* name) override;
    void attach_interface(const char* interface_output, vorn::IGraph_node* source, const char* source_name) override;

private:
    GRAPH::Compage_node_class* compound(const char* operation);
};

class Graph_library_wrapper : public Counted_interface<vorn::IGraph_library, vorn::IID_GRAPH_LIBRARY> {
public:
    explicit Graph_library_wrapper(std::shared_ptr<GRAPH::Graph_library> library) : library_(std::move(library)) {}

    void* get_internal() override { return library_.get(); }
    uint32_t get_class_count() override;
    vorn::IGraph_node_class* find_class(const char* name) override;
    vorn::IGraph_node_class* get_class(uint32_t index) override;
    bool add_class(vorn::IGraph_node_class* node_class) override;
    vorn::IGraph_node_class* create_class(uint32_t kind, const char* name) override;
    bool remove_class(vorn::IGraph_node_class* node_class) override;
    uint32_t get_node_count() override;
    vorn::IGraph_node* find_node(const char* name) override;
    vorn::IGraph_node* get_node(uint32_t index) override;
    bool add_node(vorn::IGraph_node* node) override;
    vorn::IGraph_node* create_node(vorn::IGraph_node_class* node_class, const char* name) override;
    bool remove_node(vorn::IGraph_node* node) override;
    bool add_from_file(const char* file_name, vorn::ICompiler_errors* errors) override;
    void merge(vorn::IGraph_library* other) override;
    bool save_to_file(const char* file_name) override;
    vorn::IGraph_observer* get_observer() override;
    void set_observer(vorn::IGraph_observer* observer) override;
    void detach_object() override;
    vorn::IGraph_annotations* get_annotations() override;

    GRAPH::Graph_library* live(const char* operation);

private:
    std::shared_ptr<GRAPH::Graph_library> library_;
};

// Where a parameter list, a parameter or an annotation list lives: on a node or on a class, found
// again on each call, as edits move and remove them.
struct Parameter_place {
    GRAPH::Graph_node* node = nullptr;
    GRAPH::Graph_node_class* node_class = nullptr;
    Life life;
    bool is_input = true;

    // The list, or null once the owner ended. wired: the list that carries the wires (a
    // compound's interface).
    GRAPH::Parameter_list* list(bool wired = false) const;
    // The parameter at index if it still has the name, else the first of the name.
    GRAPH::Parameter* find(uint32_t index, const std::string& name, bool wired = false) const;
};

class Parameter_iterator_imp : public Counted_interface<vorn::IParameter_iterator, vorn::IID_PARAMETER_ITERATOR> {
public:
    explicit Parameter_iterator_imp(Parameter_place place) : place_(std::move(place)) {}

    void* get_internal() override { return this; }
    void next() override;
    bool find(const char* name) override;
    void reset() override { index_ = 0; }
    bool at_end() override;
    const char* get_name() override;
    vorn::IType* get_type() override;
    const void* get_value() override;
    vorn::IAttachment_iterator* get_attachments() override;
    vorn::IGraph_annotations* get_annotations() override;
    uint32_t get_exposure() override;
    void set_exposure(uint32_t exposure) override;

private:
    GRAPH::Parameter* current();

    Parameter_place place_;
    uint32_t index_ = 0;
};

class Attachment_iterator_imp : public Counted_interface<vorn::IAttachment_iterator, vorn::IID_ATTACHMENT_ITERATOR> {
public:
    Attachment_iterator_imp(Parameter_place place, uint32_t parameter_index, std::string parameter_name)
        : place_(std::move(place)), parameter_index_(parameter_index), parameter_name_(std::move(parameter_name))
    {
    }

    void* get_internal() override { return this; }
    void next() override;
    bool find(const char* member) override;
    void reset() override { index_ = 0; }
    bool at_end() override;
    const char* get_member_name() override;
    const char* get_target_name() override;
    vorn::IGraph_node* get_target_node() override;

private:
    const GRAPH::Attachment* current();

    Parameter_place place_;
    uint32_t parameter_index_;
    std::string parameter_name_;
    uint32_t index_ = 0;
};

class Graph_annotations_wrapper : public Counted_interface<vorn::IGraph_annotations, vorn::IID_GRAPH_ANNOTATIONS> {
public:
    // list finds the store again on each call; null once its owner has ended.
    explicit Graph_annotations_wrapper(std::function<GRAPH::Annotation_list*()> list) : list_(std::move(list)) {}

    void* get_internal() override { return list_(); }
    uint32_t get_count() override;
    const char* get_name(uint32_t index) override;
    vorn::IType* get_type(uint32_t index) override;
    const void* get_value(uint32_t index) override;
    bool set_value(uint32_t index, const void* bytes) override;
    bool add(const char* name, uint32_t type_count, vorn::IType* const* types, const void* bytes) override;
    bool remove(uint32_t index) override;
    int32_t find(const char* name) override;

private:
    GRAPH::Annotation* at(uint32_t index, const char* operation);

    std::function<GRAPH::Annotation_list*()> list_;
};

// Holds the reference that the embedding's manager function returned.
class Graph_library_mgr_wrapper : public Counted_interface<vorn::IGraph_library_manager, vorn::IID_GRAPH_LIBRARY_MANAGER> {
public:
    explicit Graph_library_mgr_wrapper(vorn::IGraph_library_manager* manager) : manager_(manager) {}
    ~Graph_library_mgr_wrapper() override { manager_->release(); }
    Graph_library_mgr_wrapper(const Graph_library_mgr_wrapper&) = delete;
    Graph_library_mgr_wrapper& operator=(const Graph_library_mgr_wrapper&) = delete;

    void* get_internal() override { return manager_; }

private:
    vorn::IGraph_library_manager* manager_;
};

// A view of the library-wide settings of the embedding: every object sets the same ones.
class Graph_hooks_impl : public Counted_interface<vorn::IGraph_hooks, vorn::IID_GRAPH_HOOKS> {
public:
    void* get_internal() override { return nullptr; }
    void set_library_manager_function(vorn::Library_manager_function function, void* context) override;
    void set_data_functions(const vorn::Graph_data_functions* functions) override;
};

class Vorn_graph_impl : public Counted_interface<vorn::IVorn_graph, vorn::IID_VORN_GRAPH> {
public:
    void* get_internal() override { return nullptr; }
    vorn::Interface* get_interface(int32_t id) override;
    vorn::IType* create_type(const char* name, int32_t kind, uint32_t array_size) override;
    vorn::IGraph_library_manager* load_library_manager(const char* path, vorn::ICompiler_errors* errors) override;
    vorn::IGraph_library* create_library() override;
    vorn::IGraph_library* load_library(const char* file_name, vorn::IGraph_library_manager* manager,
                                       vorn::ICompiler_errors* errors) override;
    vorn::IGraph_library* load_library_from_text(const char* text, vorn::IGraph_library_manager* manager,
                                                 vorn::ICompiler_errors* errors) override;
};

}  // namespace HOST
}  // namespace QZ

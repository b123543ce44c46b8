#include "host/graph_facade.h"

#include <cstring>
#include <filesystem>
#include <map>
#include <unordered_map>

#include "flat12/linker.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "graph/value_block.h"
#include "host/compiler_facade.h"
#include "host/tree_facade.h"
#include "host/type_facade.h"
#include "host/unit_facade.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"

namespace QZ {
namespace HOST {

using GRAPH::Compage_node_class;
using GRAPH::Graph_library;
using GRAPH::Graph_node;
using GRAPH::Graph_node_class;
using GRAPH::Parameter;
using GRAPH::Parameter_list;

namespace {

// Hung on a node or class as its user data: the flag turns false when the object ends. The
// host never sees user data, so the slot is the facade's.
class Life_token final : public GRAPH::Graph_user_data {
public:
    ~Life_token() override { *alive = false; }
    // A copy of the object is another object, with a token of its own when it is wrapped.
    Graph_user_data* clone() const override { return nullptr; }
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

Life life_from(std::unique_ptr<GRAPH::Graph_user_data>& data)
{
    if (!data)
        data.reset(new Life_token);
    auto* token = dynamic_cast<Life_token*>(data.get());
    return token ? token->alive : nullptr;
}

bool ended(const Life& life) { return life && !*life; }

const char* name_or_empty(const char* text) { return text ? text : ""; }

// Releases a wrapper made for the length of one callback.
template <typename T>
struct Held {
    T* object;
    ~Held()
    {
        if (object)
            object->release();
    }
};

std::unordered_map<const Graph_library*, std::weak_ptr<Graph_library>>& library_registry()
{
    static std::unordered_map<const Graph_library*, std::weak_ptr<Graph_library>> registry;
    return registry;
}

vorn::IGraph_library* wrap_known_library(Graph_library* library)
{
    auto found = library_registry().find(library);
    if (found == library_registry().end())
        return nullptr;
    std::shared_ptr<Graph_library> shared = found->second.lock();
    return shared ? new Graph_library_wrapper(shared) : nullptr;
}

class Observer_bridge final : public GRAPH::Graph_observer {
public:
    explicit Observer_bridge(vorn::IGraph_observer* host) : host_(host) {}
    vorn::IGraph_observer* host() const { return host_; }

    void value_changed(Graph_node* node, uint32_t is_output, const char* parameter) override
    {
        Held<vorn::IGraph_node> held{wrap_node(node)};
        host_->value_changed(held.object, is_output != 0, parameter);
    }
    void attached(Graph_node* node, uint32_t is_output, const char* path, const char*) override
    {
        Held<vorn::IGraph_node> held{wrap_node(node)};
        host_->attached(held.object, is_output != 0, path);
    }
    void detached(Graph_node* node, uint32_t is_output, const char* parameter, const char* member) override
    {
        Held<vorn::IGraph_node> held{wrap_node(node)};
        host_->detached(held.object, is_output != 0, parameter, member);
    }
    void parameter_added(Graph_node_class* node_class, bool is_output, const char* name) override
    {
        Held<vorn::IGraph_node_class> held{wrap_class(node_class)};
        host_->parameter_added(held.object, is_output, name);
    }
    void parameter_removed(Graph_node_class* node_class, bool is_output, const char* name) override
    {
        Held<vorn::IGraph_node_class> held{wrap_class(node_class)};
        host_->parameter_removed(held.object, is_output, name);
    }
    void node_renamed(Graph_node* node, const char* old_name, const char* new_name) override
    {
        Held<vorn::IGraph_node> held{wrap_node(node)};
        host_->node_renamed(held.object, old_name, new_name);
    }
    void node_created(Graph_node_class* node_class, Graph_node* node) override
    {
        Held<vorn::IGraph_node_class> held_class{wrap_class(node_class)};
        Held<vorn::IGraph_node> held_node{wrap_node(node)};
        host_->node_created(held_class.object, held_node.object);
    }
    void class_value_changed(Graph_node_class* node_class, uint32_t is_output, const char* parameter) override
    {
        Held<vorn::IGraph_node_class> held{wrap_class(node_class)};
        host_->class_value_changed(held.object, is_output != 0, parameter);
    }
    void library_node_added(Graph_library* library, Graph_node* node) override
    {
        Held<vorn::IGraph_library> held_library{wrap_known_library(library)};
        Held<vorn::IGraph_node> held_node{wrap_node(node)};
        host_->library_node_added(held_library.object, held_node.object);
    }
    void compound_node_added(Compage_node_class* compound, Graph_node* node) override
    {
        Held<vorn::ICompage_node_class> held_class{wrap_compound(compound)};
        Held<vorn::IGraph_node> held_node{wrap_node(node)};
        host_->compound_node_added(held_class.object, held_node.object);
    }
    void library_node_removed(Graph_library* library, Graph_node* node) override
    {
        Held<vorn::IGraph_library> held_library{wrap_known_library(library)};
        Held<vorn::IGraph_node> held_node{wrap_node(node)};
        host_->library_node_removed(held_library.object, held_node.object);
    }
    void library_class_removed(Graph_library* library, Graph_node_class* node_class) override
    {
        Held<vorn::IGraph_library> held_library{wrap_known_library(library)};
        Held<vorn::IGraph_node_class> held_class{wrap_class(node_class)};
        host_->library_class_removed(held_library.object, held_class.object);
    }
    void library_class_added(Graph_library* library, Graph_node_class* node_class) override
    {
        Held<vorn::IGraph_library> held_library{wrap_known_library(library)};
        Held<vorn::IGraph_node_class> held_class{wrap_class(node_class)};
        host_->library_class_added(held_library.object, held_class.object);
    }

private:
    vorn::IGraph_observer* host_;
};

// What the embedding installed through IGraph_hooks; nothing by default.
vorn::Library_manager_function installed_manager_function = nullptr;
void* installed_manager_context = nullptr;
vorn::Graph_data_functions installed_data_functions{};

// The host's view of the writer inside gui_data or render_data.
class Data_writer_adapter final : public vorn::IGraph_data_writer {
public:
    explicit Data_writer_adapter(COMPILER::Xml_data_writer* writer) : writer_(writer) {}
    void begin_element(const char* name) override { writer_->begin_element(name); }
    void end_element() override { writer_->end_element(); }
    void attribute(const char* name, int32_t value) override { writer_->attribute(name, value); }
    void attribute(const char* name, const char* value) override { writer_->attribute(name, value); }

private:
    COMPILER::Xml_data_writer* writer_;
};

// The file hooks over a copy of the host's functions (functions outlives the read or write), so
// that a host changing them from inside a call cannot pull one away midway.
GRAPH::Graph_read_hooks read_hooks(const vorn::Graph_data_functions& functions)
{
    GRAPH::Graph_read_hooks hooks;
    void* context = const_cast<vorn::Graph_data_functions*>(&functions);
    if (functions.read_gui) {
        hooks.gui = [](void* data, Graph_node* node, const char* text) {
            const auto* host = static_cast<const vorn::Graph_data_functions*>(data);
            Held<vorn::IGraph_node> held{wrap_node(node)};
            host->read_gui(host->context, held.object, text);
        };
        hooks.gui_context = context;
    }
    if (functions.read_render) {
        hooks.render = [](void* data, const char* text) {
            const auto* host = static_cast<const vorn::Graph_data_functions*>(data);
            host->read_render(host->context, text);
        };
        hooks.render_context = context;
    }
    return hooks;
}

GRAPH::Graph_write_hooks write_hooks(const vorn::Graph_data_functions& functions)
{
    GRAPH::Graph_write_hooks hooks;
    void* context = const_cast<vorn::Graph_data_functions*>(&functions);
    if (functions.write_gui) {
        hooks.gui = [](void* data, Graph_node* node, COMPILER::Gui_data_writer* writer) {
            const auto* host = static_cast<const vorn::Graph_data_functions*>(data);
            Held<vorn::IGraph_node> held{wrap_node(node)};
            Data_writer_adapter adapter(writer);
            host->write_gui(host->context, held.object, &adapter);
        };
        hooks.gui_context = context;
    }
    if (functions.write_render) {
        hooks.render = [](void* data, COMPILER::Render_data_writer* writer) {
            const auto* host = static_cast<const vorn::Graph_data_functions*>(data);
            Data_writer_adapter adapter(writer);
            host->write_render(host->context, &adapter);
        };
        hooks.render_context = context;
    }
    return hooks;
}

const SYNTAX_TREE::Type* type_argument(vorn::IType* type, const char* operation)
{
    if (!type) {
        refuse(operation, "no type given");
        return nullptr;
    }
    auto* wrapper = dynamic_cast<Type_wrapper*>(type);
    if (!wrapper) {
        refuse(operation, "the type was not made by this library");
        return nullptr;
    }
    const auto* internal = static_cast<const SYNTAX_TREE::Type*>(wrapper->get_internal());
    if (!internal)
        refuse(operation, "the type is no type");
    return internal;
}

bool selector_argument(uint32_t selector, const char* operation)
{
    if (selector <= vorn::PARAMETERS_OUTPUT)
        return true;
    refuse(operation, "the selector is neither input (0) nor output (1)");
    return false;
}

bool name_argument(const char* name, const char* operation)
{
    if (name)
        return true;
    refuse(operation, "no name given");
    return false;
}

// A parameter of type with a copy of bytes (zeroes for null) as its value.
Parameter make_parameter(const char* name, const SYNTAX_TREE::Type& type, const void* bytes)
{
    Parameter parameter(name, type);
    if (bytes)
        parameter.set_value(bytes);
    return parameter;
}

Parameter* find_in(Parameter_list& list, const char* name)
{
    int32_t index = GRAPH::find_parameter(list, name);
    return index < 0 ? nullptr : &list[size_t(index)];
}

// The value at path of a parameter of list: the head names the parameter, the tail a part of it.
void* value_in(Parameter_list& list, const char* path)
{
    std::string head, tail;
    GRAPH::split_path(path, head, tail);
    Parameter* parameter = find_in(list, head.c_str());
    return parameter ? GRAPH::find_value(*parameter, tail.c_str(), parameter->value) : nullptr;
}

// The path that detach takes for a record on a parameter.
std::string record_path(const std::string& parameter, const std::string& member)
{
    if (member.empty())
        return parameter;
    return member[0] == '[' ? parameter + member : parameter + "." + member;
}

// Every wire of one parameter of node goes, each through detach so that both ends and the host
// hear of it.
void detach_parameter(Graph_node& node, bool is_input, const std::string& name)
{
    for (;;) {
        Parameter* parameter = is_input ? node.find_input(name.c_str()) : node.find_output(name.c_str());
        if (!parameter || parameter->attachments.empty())
            return;
        size_t before = parameter->attachments.size();
        node.detach(record_path(name, parameter->attachments.front().member_name).c_str(), is_input);
        parameter = is_input ? node.find_input(name.c_str()) : node.find_output(name.c_str());
        // A record that detach could not reach goes by hand, so that the loop ends.
        if (parameter && parameter->attachments.size() == before)
            parameter->attachments.erase(parameter->attachments.begin());
    }
}

bool file_can_be_written(const char* file_name)
{
    std::error_code error;
    std::filesystem::path path(file_name);
    if (std::filesystem::exists(path, error))
        return true;
    std::filesystem::path directory = path.parent_path();
    return directory.empty() || std::filesystem::is_directory(directory, error);
}

}  // namespace

void refuse(const char* operation, const char* why)
{
    LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, 1, "%s refused: %s", operation, why);
}

Life life_of(Graph_node* node) { return node ? life_from(node->user_data) : nullptr; }

Life life_of(Graph_node_class* node_class) { return node_class ? life_from(node_class->user_data) : nullptr; }

vorn::IGraph_node* wrap_node(Graph_node* node) { return node ? new Graph_node_wrapper(node) : nullptr; }

vorn::IGraph_node_class* wrap_class(Graph_node_class* node_class, bool owning)
{
    if (!node_class)
        return nullptr;
    if (node_class->kind() == GRAPH::CLASS_COMPAGE)
        return new Compage_node_class_wrapper(node_class, owning);
    return new Velar_node_class_wrapper(node_class, owning);
}

vorn::ICompage_node_class* wrap_compound(Compage_node_class* node_class)
{
    return node_class ? new Compage_node_class_wrapper(node_class, false) : nullptr;
}

vorn::IGraph_library* wrap_library(const std::shared_ptr<Graph_library>& library)
{
    return library ? new Graph_library_wrapper(library) : nullptr;
}

std::shared_ptr<Graph_library> share_library(Graph_library* library)
{
    if (!library)
        return nullptr;
    std::shared_ptr<Graph_library> shared(library, [](Graph_library* ending) {
        library_registry().erase(ending);
        delete ending;
    });
    library_registry()[library] = shared;
    return shared;
}

Graph_node* node_argument(vorn::IGraph_node* node, const char* operation)
{
    if (!node)
        return nullptr;
    auto* wrapper = dynamic_cast<Graph_node_wrapper*>(node);
    if (!wrapper) {
        refuse(operation, "the node was not made by this library");
        return nullptr;
    }
    return wrapper->live(operation);
}

Graph_node_class* class_argument(vorn::IGraph_node_class* node_class, const char* operation)
{
    if (!node_class)
        return nullptr;
    auto* handle = dynamic_cast<Class_handle*>(node_class);
    if (!handle) {
        refuse(operation, "the node class was not made by this library");
        return nullptr;
    }
    return handle->live(operation);
}

Graph_library* library_argument(vorn::IGraph_library* library, const char* operation)
{
    if (!library)
        return nullptr;
    auto* wrapper = dynamic_cast<Graph_library_wrapper*>(library);
    if (!wrapper) {
        refuse(operation, "the library was not made by this library");
        return nullptr;
    }
    return wrapper->live(operation);
}

GRAPH::Graph_observer* observer_bridge(vorn::IGraph_observer* host)
{
    if (!host)
        return nullptr;
    // Bridges are few (one per host observer) and tiny; keeping them spares a count of users.
    static std::map<vorn::IGraph_observer*, std::unique_ptr<Observer_bridge>> bridges;
    std::unique_ptr<Observer_bridge>& bridge = bridges[host];
    if (!bridge)
        bridge.reset(new Observer_bridge(host));
    return bridge.get();
}

vorn::IGraph_observer* host_observer(GRAPH::Graph_observer* observer)
{
    auto* bridge = dynamic_cast<Observer_bridge*>(observer);
    return bridge ? bridge->host() : nullptr;
}

vorn::ICompilation_unit* compile_class(Graph_node_class* node_class)
{
    if (!node_class)
        return nullptr;
    SYNTAX_TREE::Compilation_unit* unit =
        node_class->kind() == GRAPH::CLASS_COMPAGE
            ? FLAT12::link_node_class(static_cast<Compage_node_class*>(node_class), nullptr)
            : FLAT12::link_for_export(node_class, FLAT12::Export_settings{}, nullptr);
    return unit ? new Compilation_unit_wrapper(std::shared_ptr<SYNTAX_TREE::Compilation_unit>(unit)) : nullptr;
}

void Graph_hooks_impl::set_library_manager_function(vorn::Library_manager_function function, void* context)
{
    installed_manager_function = function;
    installed_manager_context = function ? context : nullptr;
}

void Graph_hooks_impl::set_data_functions(const vorn::Graph_data_functions* functions)
{
    installed_data_functions = functions ? *functions : vorn::Graph_data_functions{};
}

// ---------------------------------------------------------------------------------------------
// Nodes

Graph_node_wrapper::Graph_node_wrapper(Graph_node* node) : node_(node), life_(life_of(node)) {}

Graph_node* Graph_node_wrapper::live(const char* operation)
{
    if (node_ && ended(life_))
        node_ = nullptr;
    if (!node_)
        refuse(operation, "the node no longer exists");
    return node_;
}

void* Graph_node_wrapper::get_internal() { return node_ && !ended(life_) ? node_ : nullptr; }

const char* Graph_node_wrapper::get_name()
{
    Graph_node* node = live("IGraph_node::get_name");
    return node ? node->name.c_str() : nullptr;
}

void Graph_node_wrapper::set_name(const char* name)
{
    Graph_node* node = live("IGraph_node::set_name");
    if (node && name_argument(name, "IGraph_node::set_name"))
        node->rename(name);
}

vorn::IGraph_node_class* Graph_node_wrapper::get_node_class()
{
    Graph_node* node = live("IGraph_node::get_node_class");
    return node ? wrap_class(node->node_class()) : nullptr;
}

vorn::ICompage_node_class* Graph_node_wrapper::get_compage_class()
{
    Graph_node* node = live("IGraph_node::get_compage_class");
    if (!node || !node->node_class() || node->node_class()->kind() != GRAPH::CLASS_COMPAGE)
        return nullptr;
    return wrap_compound(static_cast<Compage_node_class*>(node->node_class()));
}

void Graph_node_wrapper::attach(const char* input_path, vorn::IGraph_node* target, const char* target_path)
{
    const char* operation = "IGraph_node::attach";
    Graph_node* node = live(operation);
    if (!node || !name_argument(input_path, operation) || !name_argument(target_path, operation))
        return;
    Graph_node* source = node_argument(target, operation);
    if (target && !source)
        return;
    node->attach(input_path, source, target_path);
}

void Graph_node_wrapper::detach(const char* input_path)
{
    Graph_node* node = live("IGraph_node::detach");
    if (node && name_argument(input_path, "IGraph_node::detach"))
        node->detach(input_path, true);
}

bool Graph_node_wrapper::set_parameter_value(const char* name, const void* bytes)
{
    const char* operation = "IGraph_node::set_parameter_value";
    Graph_node* node = live(operation);
    if (!node || !name_argument(name, operation))
        return false;
    Parameter* parameter = node->find_input(name);
    if (!parameter)
        parameter = node->find_output(name);
    if (!parameter) {
        refuse(operation, "the node has no parameter of that name");
        return false;
    }
    node->set_value(*parameter, bytes);
    return true;
}

const void* Graph_node_wrapper::get_parameter_value(const char* path)
{
    Graph_node* node = live("IGraph_node::get_parameter_value");
    if (!node || !path)
        return nullptr;
    void* value = node->find_value(path, true);
    return value ? value : node->find_value(path, false);
}

vorn::IParameter_iterator* Graph_node_wrapper::get_parameters(uint32_t selector)
{
    Graph_node* node = live("IGraph_node::get_parameters");
    if (!node || !selector_argument(selector, "IGraph_node::get_parameters"))
        return nullptr;
    return new Parameter_iterator_imp(Parameter_place{node, nullptr, life_, selector == vorn::PARAMETERS_INPUT});
}

uint32_t Graph_node_wrapper::get_parameter_count(uint32_t selector)
{
    Graph_node* node = live("IGraph_node::get_parameter_count");
    if (!node || !selector_argument(selector, "IGraph_node::get_parameter_count"))
        return 0;
    return uint32_t(selector == vorn::PARAMETERS_INPUT ? node->inputs.size() : node->outputs.size());
}

bool Graph_node_wrapper::add_parameter(uint32_t selector, const char* name, vorn::IType* type,
                                       const void* default_value)
{
    const char* operation = "IGraph_node::add_parameter";
    Graph_node* node = live(operation);
    if (!node || !selector_argument(selector, operation) || !name_argument(name, operation))
        return false;
    const SYNTAX_TREE::Type* parameter_type = type_argument(type, operation);
    if (!parameter_type)
        return false;
    Parameter_list& list = selector == vorn::PARAMETERS_INPUT ? node->inputs : node->outputs;
    list.push_back(make_parameter(name, *parameter_type, default_value));
    return true;
}

bool Graph_node_wrapper::remove_parameter(uint32_t selector, const char* name)
{
    const char* operation = "IGraph_node::remove_parameter";
    Graph_node* node = live(operation);
    if (!node || !selector_argument(selector, operation) || !name_argument(name, operation))
        return false;
    bool is_input = selector == vorn::PARAMETERS_INPUT;
    Parameter_list& list = is_input ? node->inputs : node->outputs;
    if (GRAPH::find_parameter(list, name) < 0) {
        refuse(operation, "the node has no parameter of that name");
        return false;
    }
    detach_parameter(*node, is_input, name);
    list.erase(list.begin() + GRAPH::find_parameter(list, name));
    return true;
}

vorn::IGraph_observer* Graph_node_wrapper::get_observer()
{
    Graph_node* node = live("IGraph_node::get_observer");
    return node ? host_observer(node->observer) : nullptr;
}

void Graph_node_wrapper::set_observer(vorn::IGraph_observer* observer)
{
    if (Graph_node* node = live("IGraph_node::set_observer"))
        node->observer = observer_bridge(observer);
}

void Graph_node_wrapper::destroy()
{
    Graph_node* node = live("IGraph_node::destroy");
    if (!node)
        return;
    if (Compage_node_class* parent = node->parent())
        parent->remove_inner_node(node);
    else if (Graph_library* library = node->owning_library())
        library->remove_node(node);
    else {
        node->detach_all();
        delete node;
    }
    node_ = nullptr;
}

vorn::IGraph_annotations* Graph_node_wrapper::get_annotations()
{
    Graph_node* node = live("IGraph_node::get_annotations");
    if (!node)
        return nullptr;
    Life life = life_;
    return new Graph_annotations_wrapper(
        [node, life]() -> GRAPH::Annotation_list* { return ended(life) ? nullptr : &node->annotations; });
}

vorn::ICompage_node_class* Graph_node_wrapper::get_parent()
{
    Graph_node* node = live("IGraph_node::get_parent");
    return node ? wrap_compound(node->parent()) : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Classes

Class_handle::Class_handle(Graph_node_class* node_class, bool owning)
    : class_(node_class), life_(life_of(node_class)), owning_(owning)
{
}

Class_handle::~Class_handle()
{
    // A class from a unit that no library took ends with its last wrapper.
    if (owning_ && class_ && !ended(life_) && !class_->has_owner())
        delete class_;
}

Graph_node_class* Class_handle::live(const char* operation)
{
    if (class_ && ended(life_))
        class_ = nullptr;
    if (!class_)
        refuse(operation, "the node class no longer exists");
    return class_;
}

Graph_node_class* Class_handle::peek() const { return class_ && !ended(life_) ? class_ : nullptr; }

template <typename Base, int32_t ID>
const char* Class_wrapper<Base, ID>::get_name()
{
    Graph_node_class* node_class = live("IGraph_node_class::get_name");
    return node_class ? node_class->name() : nullptr;
}

template <typename Base, int32_t ID>
void Class_wrapper<Base, ID>::set_name(const char* name)
{
    Graph_node_class* node_class = live("IGraph_node_class::set_name");
    if (node_class && name_argument(name, "IGraph_node_class::set_name"))
        node_class->set_name(name);
}

template <typename Base, int32_t ID>
bool Class_wrapper<Base, ID>::add_parameter(uint32_t selector, const char* name, vorn::IType* type,
                                            const void* default_value)
{
    const char* operation = "IGraph_node_class::add_parameter";
    Graph_node_class* node_class = live(operation);
    if (!node_class || !selector_argument(selector, operation) || !name_argument(name, operation))
        return false;
    const SYNTAX_TREE::Type* parameter_type = type_argument(type, operation);
    if (!parameter_type)
        return false;
    node_class->add_parameter(selector == vorn::PARAMETERS_INPUT, make_parameter(name, *parameter_type, default_value));
    node_class->sync_nodes();
    return true;
}

template <typename Base, int32_t ID>
bool Class_wrapper<Base, ID>::remove_parameter(uint32_t selector, const char* name)
{
    const char* operation = "IGraph_node_class::remove_parameter";
    Graph_node_class* node_class = live(operation);
    if (!node_class || !selector_argument(selector, operation) || !name_argument(name, operation))
        return false;
    bool is_input = selector == vorn::PARAMETERS_INPUT;
    if (GRAPH::find_parameter(is_input ? node_class->inputs : node_class->outputs, name) < 0) {
        refuse(operation, "the class has no parameter of that name");
        return false;
    }
    node_class->remove_parameter(is_input, name);
    node_class->sync_nodes();
    return true;
}

template <typename Base, int32_t ID>
bool Class_wrapper<Base, ID>::set_parameter_value(const char* name, const void* bytes)
{
    const char* operation = "IGraph_node_class::set_parameter_value";
    Graph_node_class* node_class = live(operation);
    if (!node_class || !name_argument(name, operation))
        return false;
    bool is_input = true;
    Parameter* parameter = find_in(node_class->inputs, name);
    if (!parameter) {
        is_input = false;
        parameter = find_in(node_class->outputs, name);
    }
    if (!parameter) {
        refuse(operation, "the class has no parameter of that name");
        return false;
    }
    node_class->set_value(*parameter, bytes);
    // A compound keeps its parameters twice; the interface copy is the one written to files.
    if (node_class->kind() == GRAPH::CLASS_COMPAGE) {
        auto* compound = static_cast<Compage_node_class*>(node_class);
        if (Parameter* twin = find_in(is_input ? compound->interface_inputs : compound->interface_outputs, name))
            twin->set_value(bytes);
    }
    return true;
}

template <typename Base, int32_t ID>
const void* Class_wrapper<Base, ID>::get_parameter_value(const char* path)
{
    Graph_node_class* node_class = live("IGraph_node_class::get_parameter_value");
    if (!node_class || !path)
        return nullptr;
    void* value = value_in(node_class->inputs, path);
    return value ? value : value_in(node_class->outputs, path);
}

template <typename Base, int32_t ID>
vorn::IParameter_iterator* Class_wrapper<Base, ID>::get_parameters(uint32_t selector)
{
    Graph_node_class* node_class = live("IGraph_node_class::get_parameters");
    if (!node_class || !selector_argument(selector, "IGraph_node_class::get_parameters"))
        return nullptr;
    return new Parameter_iterator_imp(
        Parameter_place{nullptr, node_class, life_of(node_class), selector == vorn::PARAMETERS_INPUT});
}

template <typename Base, int32_t ID>
int32_t Class_wrapper<Base, ID>::find_parameter(uint32_t selector, const char* name)
{
    Graph_node_class* node_class = live("IGraph_node_class::find_parameter");
    if (!node_class || !selector_argument(selector, "IGraph_node_class::find_parameter") || !name)
        return -1;
    return GRAPH::find_parameter(selector == vorn::PARAMETERS_INPUT ? node_class->inputs : node_class->outputs, name);
}

template <typename Base, int32_t ID>
uint32_t Class_wrapper<Base, ID>::get_instance_count()
{
    Graph_node_class* node_class = live("IGraph_node_class::get_instance_count");
    return node_class ? uint32_t(node_class->nodes.size()) : 0;
}

template <typename Base, int32_t ID>
vorn::IGraph_node* Class_wrapper<Base, ID>::get_instance(uint32_t index)
{
    Graph_node_class* node_class = live("IGraph_node_class::get_instance");
    if (!node_class)
        return nullptr;
    if (index >= node_class->nodes.size()) {
        refuse("IGraph_node_class::get_instance", "index past the last instance");
        return nullptr;
    }
    return wrap_node(node_class->nodes[index]);
}

template <typename Base, int32_t ID>
vorn::IGraph_observer* Class_wrapper<Base, ID>::get_observer()
{
    Graph_node_class* node_class = live("IGraph_node_class::get_observer");
    return node_class ? host_observer(node_class->observer) : nullptr;
}

template <typename Base, int32_t ID>
void Class_wrapper<Base, ID>::set_observer(vorn::IGraph_observer* observer)
{
    if (Graph_node_class* node_class = live("IGraph_node_class::set_observer"))
        node_class->observer = observer_bridge(observer);
}

template <typename Base, int32_t ID>
vorn::ISyntax_tree* Class_wrapper<Base, ID>::get_shader_tree()
{
    Graph_node_class* node_class = live("IGraph_node_class::get_shader_tree");
    auto* velar = dynamic_cast<GRAPH::Velar_node_class*>(node_class);
    if (!velar || !velar->source() || !velar->source()->unit())
        return nullptr;
    const std::shared_ptr<SYNTAX_TREE::Compilation_unit>& unit = velar->source()->shared_unit();
    SYNTAX_TREE::Shader_declaration* shader = unit->find_shader(velar->name());
    return shader && shader->class_node ? new Syntax_tree_wrapper(shader->class_node, unit) : nullptr;
}

template <typename Base, int32_t ID>
vorn::ICompilation_unit* Class_wrapper<Base, ID>::compile()
{
    Graph_node_class* node_class = live("IGraph_node_class::compile");
    return compile_class(node_class);
}

template <typename Base, int32_t ID>
vorn::IGraph_annotations* Class_wrapper<Base, ID>::get_annotations()
{
    Graph_node_class* node_class = live("IGraph_node_class::get_annotations");
    if (!node_class)
        return nullptr;
    Life life = life_of(node_class);
    return new Graph_annotations_wrapper(
        [node_class, life]() -> GRAPH::Annotation_list* { return ended(life) ? nullptr : &node_class->annotations; });
}

template <typename Base, int32_t ID>
const char* Class_wrapper<Base, ID>::get_file_name()
{
    Graph_node_class* node_class = live("IGraph_node_class::get_file_name");
    if (!node_class)
        return nullptr;
    node_class->file_name(file_name_);
    return file_name_.c_str();
}

template class Class_wrapper<vorn::IVelar_node_class, vorn::IID_VELAR_NODE_CLASS>;
template class Class_wrapper<vorn::ICompage_node_class, vorn::IID_COMPAGE_NODE_CLASS>;

// Compounds

Compage_node_class* Compage_node_class_wrapper::compound(const char* operation)
{
    return static_cast<Compage_node_class*>(live(operation));
}

uint32_t Compage_node_class_wrapper::get_node_count()
{
    Compage_node_class* node_class = compound("ICompage_node_class::get_node_count");
    return node_class ? uint32_t(node_class->inner_nodes.size()) : 0;
}

vorn::IGraph_node* Compage_node_class_wrapper::get_node(uint32_t index)
{
    Compage_node_class* node_class = compound("ICompage_node_class::get_node");
    if (!node_class)
        return nullptr;
    if (index >= node_class->inner_nodes.size()) {
        refuse("ICompage_node_class::get_node", "index past the last inner node");
        return nullptr;
    }
    return wrap_node(node_class->inner_nodes[index]);
}

bool Compage_node_class_wrapper::add_node(vorn::IGraph_node* node)
{
    const char* operation = "ICompage_node_class::add_node";
    Compage_node_class* node_class = compound(operation);
    Graph_node* inner = node_argument(node, operation);
    if (!node_class || !inner)
        return false;
    if (inner->has_owner()) {
        refuse(operation, "the node belongs to a library or compound already");
        return false;
    }
    node_class->add_inner_node(inner);
    return true;
}

bool Compage_node_class_wrapper::remove_node(vorn::IGraph_node* node)
{
    const char* operation = "ICompage_node_class::remove_node";
    Compage_node_class* node_class = compound(operation);
    Graph_node* inner = node_argument(node, operation);
    if (!node_class || !inner)
        return false;
    if (!node_class->remove_inner_node(inner)) {
        refuse(operation, "the node is not an inner node of this compound");
        return false;
    }
    return true;
}

vorn::IGraph_node* Compage_node_class_wrapper::create_node(vorn::IGraph_node_class* node_class, const char* name)
{
    const char* operation = "ICompage_node_class::create_node";
    Compage_node_class* owner = compound(operation);
    Graph_node_class* inner_class = class_argument(node_class, operation);
    if (!owner || !inner_class)
        return nullptr;
    if (!inner_class->has_owner()) {
        refuse(operation, "add the node class to a library first");
        return nullptr;
    }
    Graph_node* node = inner_class->create_node(GRAPH::make_identifier(name_or_empty(name)).c_str());
    owner->add_inner_node(node);
    return wrap_node(node);
}

vorn::IGraph_node* Compage_node_class_wrapper::find_node(const char* name)
{
    Compage_node_class* node_class = compound("ICompage_node_class::find_node");
    return node_class && name ? wrap_node(node_class->find_inner_node(name)) : nullptr;
}

void Compage_node_class_wrapper::attach_interface(const char* interface_output, vorn::IGraph_node* source,
                                                  const char* source_name)
{
    const char* operation = "ICompage_node_class::attach_interface";
    Compage_node_class* node_class = compound(operation);
    if (!node_class || !name_argument(interface_output, operation) || !name_argument(source_name, operation))
        return;
    Graph_node* inner = node_argument(source, operation);
    if (source && !inner)
        return;
    if (inner && !node_class->holds(inner)) {
        refuse(operation, "the source is not an inner node of this compound");
        return;
    }
    node_class->attach_interface(interface_output, inner, source_name);
}

// ---------------------------------------------------------------------------------------------
// Libraries

Graph_library* Graph_library_wrapper::live(const char* operation)
{
    if (!library_)
        refuse(operation, "the library was let go");
    return library_.get();
}

uint32_t Graph_library_wrapper::get_class_count()
{
    Graph_library* library = live("IGraph_library::get_class_count");
    return library ? library->class_count() : 0;
}

vorn::IGraph_node_class* Graph_library_wrapper::find_class(const char* name)
{
    Graph_library* library = live("IGraph_library::find_class");
    return library && name ? wrap_class(library->find_class(name)) : nullptr;
}

vorn::IGraph_node_class* Graph_library_wrapper::get_class(uint32_t index)
{
    Graph_library* library = live("IGraph_library::get_class");
    if (!library)
        return nullptr;
    if (index >= library->class_count()) {
        refuse("IGraph_library::get_class", "index past the last class");
        return nullptr;
    }
    return wrap_class(library->class_at(index));
}

bool Graph_library_wrapper::add_class(vorn::IGraph_node_class* node_class)
{
    const char* operation = "IGraph_library::add_class";
    Graph_library* library = live(operation);
    Graph_node_class* added = class_argument(node_class, operation);
    if (!library || !added)
        return false;
    if (added->has_owner()) {
        refuse(operation, "the node class belongs to a library already");
        return false;
    }
    if (added->kind() == GRAPH::CLASS_COMPAGE)
        return library->add_compage_class(static_cast<Compage_node_class*>(added)) >= 0;
    return library->add_velar_class(added) >= 0;
}

vorn::IGraph_node_class* Graph_library_wrapper::create_class(uint32_t kind, const char* name)
{
    const char* operation = "IGraph_library::create_class";
    Graph_library* library = live(operation);
    if (!library || !name_argument(name, operation))
        return nullptr;
    if (kind != vorn::NODE_CLASS_COMPAGE) {
        refuse(operation, "only compounds are made empty; a class from a source comes from its unit");
        return nullptr;
    }
    auto* compound = new Compage_node_class(name);
    library->add_compage_class(compound);
    return wrap_class(compound);
}

bool Graph_library_wrapper::remove_class(vorn::IGraph_node_class* node_class)
{
    const char* operation = "IGraph_library::remove_class";
    Graph_library* library = live(operation);
    Graph_node_class* removed = class_argument(node_class, operation);
    if (!library || !removed)
        return false;
    if (!library->remove_class(removed)) {
        refuse(operation, "the node class is not one of this library");
        return false;
    }
    return true;
}

uint32_t Graph_library_wrapper::get_node_count()
{
    Graph_library* library = live("IGraph_library::get_node_count");
    return library ? uint32_t(library->nodes.size()) : 0;
}

vorn::IGraph_node* Graph_library_wrapper::find_node(const char* name)
{
    Graph_library* library = live("IGraph_library::find_node");
    return library && name ? wrap_node(library->find_node(name)) : nullptr;
}

vorn::IGraph_node* Graph_library_wrapper::get_node(uint32_t index)
{
    Graph_library* library = live("IGraph_library::get_node");
    if (!library)
        return nullptr;
    if (index >= library->nodes.size()) {
        refuse("IGraph_library::get_node", "index past the last node");
        return nullptr;
    }
    return wrap_node(library->nodes[index]);
}

bool Graph_library_wrapper::add_node(vorn::IGraph_node* node)
{
    const char* operation = "IGraph_library::add_node";
    Graph_library* library = live(operation);
    Graph_node* added = node_argument(node, operation);
    if (!library || !added)
        return false;
    if (added->has_owner()) {
        refuse(operation, "the node belongs to a library or compound already");
        return false;
    }
    return library->add_node(added) >= 0;
}

vorn::IGraph_node* Graph_library_wrapper::create_node(vorn::IGraph_node_class* node_class, const char* name)
{
    const char* operation = "IGraph_library::create_node";
    Graph_library* library = live(operation);
    Graph_node_class* of_class = class_argument(node_class, operation);
    if (!library || !of_class)
        return nullptr;
    if (!of_class->has_owner()) {
        refuse(operation, "add the node class to a library first");
        return nullptr;
    }
    Graph_node* node = of_class->create_node(GRAPH::make_identifier(name_or_empty(name)).c_str());
    library->add_node(node);
    return wrap_node(node);
}

bool Graph_library_wrapper::remove_node(vorn::IGraph_node* node)
{
    const char* operation = "IGraph_library::remove_node";
    Graph_library* library = live(operation);
    Graph_node* removed = node_argument(node, operation);
    if (!library || !removed)
        return false;
    if (!library->remove_node(removed)) {
        refuse(operation, "the node is not a top-level node of this library");
        return false;
    }
    return true;
}

bool Graph_library_wrapper::add_from_file(const char* file_name, vorn::ICompiler_errors* errors)
{
    const char* operation = "IGraph_library::add_from_file";
    Graph_library* library = live(operation);
    if (!library || !name_argument(file_name, operation))
        return false;
    GRAPH::File_errors lists;
    const vorn::Graph_data_functions functions = installed_data_functions;
    Graph_library* read = GRAPH::load_file(file_name, nullptr, nullptr, read_hooks(functions), library, &lists);
    if (auto* collector = dynamic_cast<Compiler_errors_wrapper*>(errors))
        for (const auto& list : lists)
            collector->add_list(list.first, list.second);
    return read != nullptr;
}

void Graph_library_wrapper::merge(vorn::IGraph_library* other)
{
    const char* operation = "IGraph_library::merge";
    Graph_library* library = live(operation);
    Graph_library* merged = library_argument(other, operation);
    if (!library || !merged)
        return;
    if (merged == library) {
        refuse(operation, "a library cannot be merged into itself");
        return;
    }
    library->merge(merged);
}

bool Graph_library_wrapper::save_to_file(const char* file_name)
{
    Graph_library* library = live("IGraph_library::save_to_file");
    if (!library || !file_name || !*file_name || !file_can_be_written(file_name))
        return false;
    const vorn::Graph_data_functions functions = installed_data_functions;
    const GRAPH::Graph_write_hooks hooks = write_hooks(functions);
    return library->save(file_name, &hooks);
}

vorn::IGraph_observer* Graph_library_wrapper::get_observer()
{
    Graph_library* library = live("IGraph_library::get_observer");
    return library ? host_observer(library->observer) : nullptr;
}

void Graph_library_wrapper::set_observer(vorn::IGraph_observer* observer)
{
    if (Graph_library* library = live("IGraph_library::set_observer"))
        library->observer = observer_bridge(observer);
}

void Graph_library_wrapper::detach_object() { library_.reset(); }

vorn::IGraph_annotations* Graph_library_wrapper::get_annotations()
{
    if (!live("IGraph_library::get_annotations"))
        return nullptr;
    // The store ends with the library, not with this wrapper or its other handles.
    std::weak_ptr<Graph_library> weak = library_;
    return new Graph_annotations_wrapper([weak]() -> GRAPH::Annotation_list* {
        std::shared_ptr<Graph_library> library = weak.lock();
        return library ? &library->annotations : nullptr;
    });
}

// ---------------------------------------------------------------------------------------------
// Parameters, wires and annotations

Parameter_list* Parameter_place::list(bool wired) const
{
    if (ended(life))
        return nullptr;
    if (node)
        return is_input ? &node->inputs : &node->outputs;
    if (!node_class)
        return nullptr;
    if (wired && node_class->kind() == GRAPH::CLASS_COMPAGE) {
        auto* compound = static_cast<Compage_node_class*>(node_class);
        return is_input ? &compound->interface_inputs : &compound->interface_outputs;
    }
    return is_input ? &node_class->inputs : &node_class->outputs;
}

Parameter* Parameter_place::find(uint32_t index, const std::string& name, bool wired) const
{
    Parameter_list* parameters = list(wired);
    if (!parameters)
        return nullptr;
    if (index < parameters->size() && name == name_or_empty((*parameters)[index].name()))
        return &(*parameters)[index];
    return find_in(*parameters, name.c_str());
}

Parameter* Parameter_iterator_imp::current()
{
    Parameter_list* parameters = place_.list();
    return parameters && index_ < parameters->size() ? &(*parameters)[index_] : nullptr;
}

void Parameter_iterator_imp::next()
{
    if (!at_end())
        ++index_;
}

bool Parameter_iterator_imp::find(const char* name)
{
    Parameter_list* parameters = place_.list();
    int32_t index = parameters && name ? GRAPH::find_parameter(*parameters, name) : -1;
    if (index < 0)
        return false;
    index_ = uint32_t(index);
    return true;
}

bool Parameter_iterator_imp::at_end() { return current() == nullptr; }

const char* Parameter_iterator_imp::get_name()
{
    Parameter* parameter = current();
    return parameter ? name_or_empty(parameter->name()) : nullptr;
}

vorn::IType* Parameter_iterator_imp::get_type()
{
    Parameter* parameter = current();
    // A copy: the parameter may change or go while the host holds the type.
    return parameter ? Type_wrapper::standalone(parameter->clone(), false) : nullptr;
}

const void* Parameter_iterator_imp::get_value()
{
    Parameter* parameter = current();
    return parameter ? parameter->value : nullptr;
}

vorn::IAttachment_iterator* Parameter_iterator_imp::get_attachments()
{
    Parameter* parameter = current();
    return parameter ? new Attachment_iterator_imp(place_, index_, name_or_empty(parameter->name())) : nullptr;
}

vorn::IGraph_annotations* Parameter_iterator_imp::get_annotations()
{
    Parameter* parameter = current();
    if (!parameter)
        return nullptr;
    Parameter_place place = place_;
    uint32_t index = index_;
    std::string name = name_or_empty(parameter->name());
    return new Graph_annotations_wrapper([place, index, name]() -> GRAPH::Annotation_list* {
        Parameter* found = place.find(index, name);
        return found ? &found->annotations : nullptr;
    });
}

uint32_t Parameter_iterator_imp::get_exposure()
{
    Parameter* parameter = current();
    return parameter ? parameter->exposure : 0;
}

void Parameter_iterator_imp::set_exposure(uint32_t exposure)
{
    Parameter* parameter = current();
    if (!parameter)
        return;
    if (exposure > vorn::EXPOSURE_DECIDED) {
        refuse("IParameter_iterator::set_exposure", "exposure is 0, 1 or 2");
        return;
    }
    parameter->exposure = exposure;
    // The twin on a compound's interface, which files and links read.
    if (Parameter* twin = place_.find(index_, name_or_empty(parameter->name()), true))
        twin->exposure = exposure;
}

const GRAPH::Attachment* Attachment_iterator_imp::current()
{
    Parameter* parameter = place_.find(parameter_index_, parameter_name_, true);
    return parameter && index_ < parameter->attachments.size() ? &parameter->attachments[index_] : nullptr;
}

void Attachment_iterator_imp::next()
{
    if (!at_end())
        ++index_;
}

bool Attachment_iterator_imp::find(const char* member)
{
    Parameter* parameter = place_.find(parameter_index_, parameter_name_, true);
    if (!parameter)
        return false;
    for (size_t i = 0; i < parameter->attachments.size(); ++i)
        if (parameter->attachments[i].member_name == name_or_empty(member)) {
            index_ = uint32_t(i);
            return true;
        }
    return false;
}

bool Attachment_iterator_imp::at_end() { return current() == nullptr; }

const char* Attachment_iterator_imp::get_member_name()
{
    const GRAPH::Attachment* attachment = current();
    return attachment ? attachment->member_name.c_str() : nullptr;
}

const char* Attachment_iterator_imp::get_target_name()
{
    const GRAPH::Attachment* attachment = current();
    return attachment ? attachment->target_name.c_str() : nullptr;
}

vorn::IGraph_node* Attachment_iterator_imp::get_target_node()
{
    const GRAPH::Attachment* attachment = current();
    return attachment ? wrap_node(attachment->target_node) : nullptr;
}

GRAPH::Annotation* Graph_annotations_wrapper::at(uint32_t index, const char* operation)
{
    GRAPH::Annotation_list* list = list_();
    if (!list) {
        refuse(operation, "the annotated object no longer exists");
        return nullptr;
    }
    if (index >= list->size()) {
        refuse(operation, "index past the last annotation");
        return nullptr;
    }
    return &(*list)[index];
}

uint32_t Graph_annotations_wrapper::get_count()
{
    GRAPH::Annotation_list* list = list_();
    return list ? uint32_t(list->size()) : 0;
}

const char* Graph_annotations_wrapper::get_name(uint32_t index)
{
    GRAPH::Annotation* annotation = at(index, "IGraph_annotations::get_name");
    return annotation ? annotation->annotation_name() : nullptr;
}

vorn::IType* Graph_annotations_wrapper::get_type(uint32_t index)
{
    GRAPH::Annotation* annotation = at(index, "IGraph_annotations::get_type");
    return annotation ? Type_wrapper::standalone(annotation->clone(), false) : nullptr;
}

const void* Graph_annotations_wrapper::get_value(uint32_t index)
{
    GRAPH::Annotation* annotation = at(index, "IGraph_annotations::get_value");
    return annotation ? annotation->value : nullptr;
}

bool Graph_annotations_wrapper::set_value(uint32_t index, const void* bytes)
{
    GRAPH::Annotation* annotation = at(index, "IGraph_annotations::set_value");
    if (!annotation || !annotation->value)
        return false;
    void* copy = bytes ? GRAPH::copy_value(*annotation, bytes) : GRAPH::allocate_value(*annotation);
    GRAPH::free_value(*annotation, annotation->value);
    annotation->value = copy;
    return true;
}

bool Graph_annotations_wrapper::add(const char* name, uint32_t type_count, vorn::IType* const* types,
                                    const void* bytes)
{
    const char* operation = "IGraph_annotations::add";
    GRAPH::Annotation_list* list = list_();
    if (!list) {
        refuse(operation, "the annotated object no longer exists");
        return false;
    }
    if (!name_argument(name, operation))
        return false;
    if (type_count > 0 && !types) {
        refuse(operation, "no types given");
        return false;
    }
    std::vector<const SYNTAX_TREE::Type*> members;
    for (uint32_t i = 0; i < type_count; ++i) {
        const SYNTAX_TREE::Type* member = type_argument(types[i], operation);
        if (!member)
            return false;
        members.push_back(member);
    }
    return GRAPH::add_annotation(*list, name, members, bytes);
}

bool Graph_annotations_wrapper::remove(uint32_t index)
{
    GRAPH::Annotation_list* list = list_();
    if (!at(index, "IGraph_annotations::remove"))
        return false;
    return GRAPH::remove_annotation(*list, index);
}

int32_t Graph_annotations_wrapper::find(const char* name)
{
    GRAPH::Annotation_list* list = list_();
    return list ? GRAPH::find_annotation(*list, name) : -1;
}

// ---------------------------------------------------------------------------------------------
// The graph interface

vorn::IType* Vorn_graph_impl::create_type(const char* name, int32_t kind, uint32_t array_size)
{
    uint8_t code = Type_wrapper::type_code(kind);
    if (code == SYNTAX_TREE::TYPE_ILLEGAL) {
        refuse("IVorn_graph::create_type", "no type has that kind");
        return nullptr;
    }
    // A built-in type is complete by its code and named by its language word.
    SYNTAX_TREE::Type* type = code == SYNTAX_TREE::TYPE_STRUCT
                                  ? new SYNTAX_TREE::Type(name_or_empty(name), code, array_size)
                                  : SYNTAX_TREE::Type::builtin(code, array_size);
    return Type_wrapper::standalone(type, true);
}

vorn::IGraph_library_manager* Vorn_graph_impl::load_library_manager(const char* path, vorn::ICompiler_errors* errors)
{
    auto* collector = dynamic_cast<Compiler_errors_wrapper*>(errors);
    if (collector)
        collector->clear();
    if (!installed_manager_function)
        return nullptr;
    Held<Compiler_errors_wrapper> lists{new Compiler_errors_wrapper};
    vorn::IGraph_library_manager* manager = installed_manager_function(installed_manager_context, path, lists.object);
    if (collector)
        for (const auto& list : lists.object->lists())
            collector->add_list(list.file_name, list.errors);
    return manager ? new Graph_library_mgr_wrapper(manager) : nullptr;
}

vorn::Interface* Vorn_graph_impl::get_interface(int32_t id)
{
    if (id == vorn::IID_GRAPH_HOOKS)
        return new Graph_hooks_impl;
    return Counted_interface::get_interface(id);
}

vorn::IGraph_library* Vorn_graph_impl::create_library() { return wrap_library(share_library(new Graph_library)); }

namespace {

vorn::IGraph_library* finish_load(Graph_library* library, const GRAPH::File_errors& lists, vorn::ICompiler_errors* errors)
{
    if (auto* collector = dynamic_cast<Compiler_errors_wrapper*>(errors))
        for (const auto& list : lists)
            collector->add_list(list.first, list.second);
    return library ? wrap_library(share_library(library)) : nullptr;
}

}  // namespace

// The manager carries nothing that a read uses; it is taken as the loaders' signature has it.
vorn::IGraph_library* Vorn_graph_impl::load_library(const char* file_name, vorn::IGraph_library_manager*,
                                                    vorn::ICompiler_errors* errors)
{
    GRAPH::File_errors lists;
    const vorn::Graph_data_functions functions = installed_data_functions;
    Graph_library* library = GRAPH::load_file(file_name, nullptr, nullptr, read_hooks(functions), nullptr, &lists);
    return finish_load(library, lists, errors);
}

vorn::IGraph_library* Vorn_graph_impl::load_library_from_text(const char* text, vorn::IGraph_library_manager*,
                                                              vorn::ICompiler_errors* errors)
{
    GRAPH::File_errors lists;
    const vorn::Graph_data_functions functions = installed_data_functions;
    Graph_library* library = GRAPH::load_string(text, nullptr, nullptr, read_hooks(functions), nullptr, &lists);
    return finish_load(library, lists, errors);
}

}  // namespace HOST
}  // namespace QZ

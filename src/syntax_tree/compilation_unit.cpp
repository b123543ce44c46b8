#include "syntax_tree/compilation_unit.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unordered_map>
#include <unordered_set>

#include "serial/serializer.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"
#include "system/growth.h"

namespace QZ {
namespace SYNTAX_TREE {

Compilation_unit::Compilation_unit(std::shared_ptr<const Prelude_symbols> prelude)
    : prelude_(prelude ? std::move(prelude) : Prelude_symbols::builtin_only())
{
}

Compilation_unit::~Compilation_unit()
{
    // A tree in the unit's arena goes with the arena, without a walk; the other nodes the unit
    // holds go back to it first.
    if (arena_ && tree_ && Node_arena::of(tree_.get()) == arena_.get()) {
#ifdef VORN_CHECK_ARENAS
        arena_->check_tree(tree_.get(), "a unit's tree");
#endif
        (void)tree_.release();
    }
}

Node_arena* Compilation_unit::node_arena()
{
    if (!arena_)
        arena_ = std::make_unique<Node_arena>();
    return arena_.get();
}

// Copying

namespace {

using Node_map = std::unordered_map<const St_node*, St_node*>;

// A deep copy of node and its children, with every original node mapped to its copy.
St_node* clone_mapped(const St_node& node, Node_map& map, Node_arena* arena)
{
    St_node* copy = node.clone(arena);
    // The clone has the original's shape; walk both side by side.
    std::vector<std::pair<const St_node*, St_node*>> pending{{&node, copy}};
    while (!pending.empty()) {
        auto [original, twin] = pending.back();
        pending.pop_back();
        map[original] = twin;
        if (original->first_child)
            pending.emplace_back(original->first_child, twin->first_child);
        if (original != &node && original->next_sibling)
            pending.emplace_back(original->next_sibling, twin->next_sibling);
    }
    return copy;
}

St_node* mapped(const Node_map& map, const St_node* node)
{
    auto found = map.find(node);
    return found == map.end() ? nullptr : found->second;
}

void map_all(const Node_map& map, std::vector<St_node*>& nodes)
{
    for (St_node*& node : nodes)
        node = mapped(map, node);
}

}  // namespace

Compilation_unit::Compilation_unit(const Compilation_unit& other)
    : Element(other),
      prelude_(other.prelude_),
      name_(other.name_),
      source_file_name_(other.source_file_name_),
      shader_positions_(other.shader_positions_),
      named_type_positions_(other.named_type_positions_),
      enum_positions_(other.enum_positions_),
      enum_values_(other.enum_values_),
      own_type_indices_(other.own_type_indices_),
      imports_(other.imports_),
      import_names_(other.import_names_),
      errors_(other.errors_),
      shaders_linked_(other.shaders_linked_),
      parent_positions_(other.parent_positions_),
      ancestors_first_(other.ancestors_first_),
      line_(other.line_),
      resolution_pending_(other.resolution_pending_),
      import_resolver_(other.import_resolver_)
{
    Node_map nodes;
    if (other.tree_)
        tree_.reset(clone_mapped(*other.tree_, nodes, node_arena()));
    for (const auto& loose : other.loose_nodes_)
        loose_nodes_.emplace_back(clone_mapped(*loose, nodes, node_arena()));

    global_declarations_ = other.global_declarations_;
    map_all(nodes, global_declarations_);
    functions_ = other.functions_;
    map_all(nodes, functions_);

    std::unordered_map<const Shader_declaration*, Shader_declaration*> shaders;
    for (const auto& shader : other.shaders_) {
        shaders_.push_back(std::make_unique<Shader_declaration>(*shader));
        shaders[shader.get()] = shaders_.back().get();
    }
    for (auto& shader : shaders_) {
        shader->class_node = mapped(nodes, shader->class_node);
        shader->main_method = mapped(nodes, shader->main_method);
        for (auto* list : {&shader->input_variables, &shader->output_variables, &shader->member_variables,
                           &shader->methods})
            map_all(nodes, *list);
        for (auto* list : {&shader->techniques, &shader->parents})
            for (Shader_declaration*& linked : *list)
                linked = shaders[linked];
    }

    for (const auto& type : other.named_types_)
        named_types_.push_back(std::make_unique<Named_type>(*type));
    for (const auto& type : other.enums_)
        enums_.emplace_back(static_cast<Enum_type*>(type->clone()));
    for (const auto& type : other.own_types_)
        own_types_.emplace_back(type->clone());
}

void Compilation_unit::serialize(SERIAL::Serializer& out) const
{
    if (tree_) {
        tree_->serialize(out);
    } else {
        St_node empty(NODE_DECLARATION_LIST, make_file_name(source_file_name_));
        empty.serialize(out);
    }
    // The count is written in 8 bits and only that many types follow.
    uint8_t count = uint8_t(named_types_.size());
    out.write_uint8(count);
    for (uint8_t i = 0; i < count; ++i) {
        Named_type copy(*named_types_[i]);
        copy.serialize(out);
    }
}

void Compilation_unit::deserialize(SERIAL::Deserializer& in)
{
    clear_contents();
    auto* root = new (node_arena()) St_node(NODE_DECLARATION_LIST, File_name());
    root->deserialize(in);
    set_tree(root);
    if (source_file_name_.empty())
        source_file_name_ = root->file_name();
    resolution_pending_ = true;
    Tree_traverser_prepass prepass(*this, import_resolver_);
    prepass.run();
    uint8_t count = 0;
    in.read_uint8(&count);
    for (uint8_t i = 0; i < count && in.good(); ++i) {
        auto type = std::make_unique<Named_type>();
        type->deserialize(in);
        if (in.good() && type->name())
            add_named_type(std::move(type));
    }
}

void Compilation_unit::clear_contents()
{
    // Views that a host holds of the old contents stay readable until the unit goes.
    if (tree_)
        retired_nodes_.push_back(std::move(tree_));
    for (auto& node : loose_nodes_)
        retired_nodes_.push_back(std::move(node));
    for (auto& type : named_types_)
        unlinked_types_.push_back(std::move(type));
    for (auto& type : enums_)
        unlinked_types_.push_back(std::move(type));
    for (auto& type : own_types_)
        unlinked_types_.push_back(std::move(type));
    set_tree(nullptr);
    loose_nodes_.clear();
    named_types_.clear();
    named_type_positions_.clear();
    enums_.clear();
    enum_positions_.clear();
    enum_values_.clear();
    own_types_.clear();
    own_type_indices_.clear();
    imports_.clear();
    import_names_.clear();
    errors_.clear();
    resolution_pending_ = false;
}

void Compilation_unit::resolve()
{
    if (!resolution_pending_)
        return;
    resolution_pending_ = false;
    link_shaders();
    Tree_traverser_semantic_pass pass(*this);
    pass.run();
}

St_node* Compilation_unit::make_loose_node(int32_t kind, const char* file_name)
{
    loose_nodes_.emplace_back(new (node_arena()) St_node(kind, make_file_name(file_name ? file_name : "")));
    return loose_nodes_.back().get();
}

bool Compilation_unit::adopt_loose_node(St_node* node)
{
    for (auto loose = loose_nodes_.begin(); loose != loose_nodes_.end(); ++loose) {
        if (loose->get() == node) {
            loose->release();
            loose_nodes_.erase(loose);
            return true;
        }
    }
    return false;
}

bool Compilation_unit::is_loose_node(const St_node* node) const
{
    for (const auto& loose : loose_nodes_)
        if (loose.get() == node)
            return true;
    return false;
}

void Compilation_unit::reindex_types()
{
    named_type_positions_.clear();
    for (size_t i = 0; i < named_types_.size(); ++i) {
        std::string name = named_types_[i]->name() ? named_types_[i]->name() : "";
        if (!named_type_positions_.find(name))
            named_type_positions_.insert(name) = int32_t(i);
    }
    own_type_indices_.clear();
    int32_t base = prelude_->type_count();
    for (size_t i = 0; i < own_types_.size(); ++i) {
        const Type& type = *own_types_[i];
        if (!type.name())
            continue;
        std::string key = variant_key(type.name(), type.array_size());
        if (!own_type_indices_.find(key) && prelude_->lookup_type(key) < 0)
            own_type_indices_.insert(key) = base + int32_t(i);
    }
}

void Compilation_unit::keep_unlinked_type(Type* type)
{
    if (type)
        unlinked_types_.emplace_back(type);
}

int32_t Compilation_unit::prelude_type_count() const
{
    return prelude_->type_count();
}

void Compilation_unit::set_tree(St_node* list)
{
    global_declarations_.clear();
    functions_.clear();
    shaders_.clear();
    shader_positions_.clear();
    shaders_linked_ = false;
    parent_positions_.clear();
    ancestors_first_.clear();
    line_.clear();
    // A parsed tree brings the arena it keeps.
    Node_arena* arena = Node_arena::of(list);
    if (arena && arena->keeper() == list) {
        arena->set_keeper(nullptr);
        if (arena_)
            arena_->absorb(std::unique_ptr<Node_arena>(arena));
        else
            arena_.reset(arena);
    }
#ifdef VORN_CHECK_ARENAS
    if (arena && arena != arena_.get()) {
        std::fprintf(stderr, "a unit was given a tree in the arena of another\n");
        std::abort();
    }
#endif
    tree_.reset(list);
}

// The unit's vectors grow by the library's rule, three halves at a time.

void Compilation_unit::add_global_declaration(St_node* node)
{
    SYSTEM::reserve_for_one_more(global_declarations_);
    global_declarations_.push_back(node);
}

void Compilation_unit::add_function(St_node* node)
{
    SYSTEM::reserve_for_one_more(functions_);
    functions_.push_back(node);
}

St_node* Compilation_unit::function_at(int32_t index) const
{
    return index >= 0 && index < function_count() ? functions_[size_t(index)] : nullptr;
}

// Shaders

Shader_declaration* Compilation_unit::shader_at(int32_t index) const
{
    return index >= 0 && index < shader_count() ? shaders_[size_t(index)].get() : nullptr;
}

Shader_declaration* Compilation_unit::find_shader(const std::string& name) const
{
    const int32_t* position = shader_positions_.find(name);
    return position ? shaders_[size_t(*position)].get() : nullptr;
}

Shader_declaration* Compilation_unit::add_shader(std::unique_ptr<Shader_declaration> shader)
{
    if (!shader_positions_.find(shader->name))
        shader_positions_.insert(shader->name) = shader_count();
    SYSTEM::reserve_for_one_more(shaders_);
    shaders_.push_back(std::move(shader));
    return shaders_.back().get();
}

// Named types and enums

const Named_type* Compilation_unit::named_type_at(int32_t position) const
{
    return position >= 0 && position < named_type_count() ? named_types_[size_t(position)].get() : nullptr;
}

int32_t Compilation_unit::find_named_type(const std::string& name) const
{
    const int32_t* position = named_type_positions_.find(name);
    return position ? *position : -1;
}

int32_t Compilation_unit::add_named_type(std::unique_ptr<Named_type> type)
{
    std::string name = type->name() ? type->name() : "";
    if (named_type_positions_.find(name))
        return -1;
    int32_t position = named_type_count();
    named_type_positions_.insert(name) = position;
    SYSTEM::reserve_for_one_more(named_types_);
    named_types_.push_back(std::move(type));
    return position;
}

Enum_type* Compilation_unit::enum_at(int32_t position) const
{
    return position >= 0 && position < enum_count() ? enums_[size_t(position)].get() : nullptr;
}

int32_t Compilation_unit::find_enum(const std::string& name) const
{
    const int32_t* position = enum_positions_.find(name);
    return position ? *position : -1;
}

int32_t Compilation_unit::add_enum(std::unique_ptr<Enum_type> type)
{
    std::string name = type->name() ? type->name() : "";
    if (enum_positions_.find(name))
        return -1;
    int32_t position = enum_count();
    enum_positions_.insert(name) = position;
    SYSTEM::reserve_for_one_more(enums_);
    enums_.push_back(std::move(type));
    return position;
}

bool Compilation_unit::find_enum_value(const std::string& name, Enum_value* value) const
{
    const Enum_value* found = enum_values_.find(name);
    if (found && value)
        *value = *found;
    return found != nullptr;
}

bool Compilation_unit::add_enum_value(const std::string& name, int32_t value, int32_t enum_position)
{
    if (enum_values_.find(name))
        return false;
    enum_values_.insert(name) = Enum_value{value, enum_position};
    if (Enum_type* type = enum_at(enum_position))
        type->values()[name] = value;
    return true;
}

// Type table

int32_t word_code(const std::string& name)
{
    struct Words {
        SYSTEM::Text_hash_table<int32_t> codes{64};
        Words()
        {
            for (uint32_t code = 0; code < TYPE_CODE_COUNT; ++code)
                if (const char* word = language_word(code))
                    codes.insert(word) = int32_t(code);
        }
    };
    static const Words words;
    const int32_t* code = words.codes.find(name);
    return code ? *code : -1;
}

std::string Compilation_unit::variant_key(std::string_view name, uint32_t array_size)
{
    std::string key(name);
    if (array_size != 1)
        key += "[" + std::to_string(array_size) + "]";
    return key;
}

int32_t Compilation_unit::type_count() const
{
    return prelude_->type_count() + int32_t(own_types_.size());
}

const Type* Compilation_unit::type_at(int32_t index) const
{
    if (index < 0)
        return nullptr;
    int32_t base = prelude_->type_count();
    if (index < base)
        return prelude_->type_at(index);
    index -= base;
    return index < int32_t(own_types_.size()) ? own_types_[size_t(index)].get() : nullptr;
}

std::string_view Compilation_unit::type_name(int32_t index) const
{
    const Type* type = type_at(index);
    return type && type->name() ? std::string_view(type->name()) : std::string_view();
}

int32_t Compilation_unit::lookup_type(const std::string& name, uint32_t array_size) const
{
    if (array_size == 1) {
        int32_t code = word_code(name);
        if (code >= 0)
            return code;
    }
    std::string key = variant_key(name, array_size);
    if (const int32_t* index = own_type_indices_.find(key))
        return *index;
    return prelude_->lookup_type(key);
}

const Type* Compilation_unit::base_type_for(const std::string& name, std::unique_ptr<Type>& made) const
{
    int32_t code = word_code(name);
    if (code >= 0) {
        made.reset(Type::builtin(uint8_t(code)));
        return made.get();
    }
    int32_t position = find_named_type(name);
    if (position >= 0)
        return named_type_at(position);
    int32_t index = prelude_->lookup_type(name);
    if (index >= 0)
        return prelude_->type_at(index);
    for (const Import& import : imports_) {
        if (!import.unit)
            continue;
        position = import.unit->find_named_type(name);
        if (position >= 0)
            return import.unit->named_type_at(position);
    }
    return nullptr;
}

int32_t Compilation_unit::find_type(const std::string& name, uint32_t array_size)
{
    int32_t index = lookup_type(name, array_size);
    if (index >= 0)
        return index;
    std::unique_ptr<Type> made;
    const Type* base = base_type_for(name, made);
    if (!base)
        return -1;
    std::unique_ptr<Type> variant(base->clone());
    variant->set_array_size(array_size);
    return add_type(std::move(variant));
}

int32_t Compilation_unit::add_type(std::unique_ptr<Type> type)
{
    int32_t index = type_count();
    if (type->name()) {
        std::string key = variant_key(type->name(), type->array_size());
        if (!own_type_indices_.find(key) && prelude_->lookup_type(key) < 0)
            own_type_indices_.insert(key) = index;
    }
    SYSTEM::reserve_for_one_more(own_types_);
    own_types_.push_back(std::move(type));
    return index;
}

// Imports

const std::string& Compilation_unit::import_name(int32_t index) const
{
    static const std::string none;
    return index >= 0 && index < import_count() ? imports_[size_t(index)].name : none;
}

std::shared_ptr<Compilation_unit> Compilation_unit::import_unit(int32_t index) const
{
    return index >= 0 && index < import_count() ? imports_[size_t(index)].unit : nullptr;
}

void Compilation_unit::add_import(const std::string& name, std::shared_ptr<Compilation_unit> unit)
{
    if (!import_names_.insert(name).second)
        return;
    SYSTEM::reserve_for_one_more(imports_);
    imports_.push_back(Import{name, std::move(unit)});
}

void Compilation_unit::add_error(const Error_record& error)
{
    SYSTEM::reserve_for_one_more(errors_);
    errors_.push_back(error);
}

void Compilation_unit::add_error(const St_node& node, uint32_t number, std::string_view text, int32_t value)
{
    add_error(make_error(node, number, text, value));
}

// Shader links

std::vector<const Shader_declaration*> Shader_declaration::lenders() const
{
    // Breadth first: a cycle or a shared grandparent is visited once, and no chain of parents,
    // however long, costs stack.
    std::vector<const Shader_declaration*> result;
    std::unordered_set<const Shader_declaration*> seen{this};
    for (size_t next = 0;; ++next) {
        const Shader_declaration* current = next ? result[next - 1] : this;
        for (const Shader_declaration* parent : current->parents)
            if (seen.insert(parent).second && !parent->is_technique())
                result.push_back(parent);
        if (next == result.size())
            break;
    }
    return result;
}

std::vector<St_node*> Shader_declaration::with_lent(std::vector<St_node*> Shader_declaration::*list) const
{
    std::vector<St_node*> result = this->*list;
    for (const Shader_declaration* lender : lenders())
        result.insert(result.end(), (lender->*list).begin(), (lender->*list).end());
    return result;
}

std::vector<size_t> Compilation_unit::lending_positions(size_t position) const
{
    // As Shader_declaration::lenders, with marks in a flat vector rather than a hash set.
    std::vector<size_t> result;
    if (position >= parent_positions_.size())
        return result;
    std::vector<bool> seen(shaders_.size());
    seen[position] = true;
    for (size_t next = 0;; ++next) {
        size_t current = next ? result[next - 1] : position;
        for (int32_t parent : parent_positions_[current]) {
            if (seen[size_t(parent)])
                continue;
            seen[size_t(parent)] = true;
            if (!shaders_[size_t(parent)]->is_technique())
                result.push_back(size_t(parent));
        }
        if (next == result.size())
            break;
    }
    return result;
}

namespace {

// The INIT_IDENTIFIER nodes of a VARIABLE_DECLARATION.
void declared_names(const St_node* declaration, std::vector<const St_node*>& names)
{
    const St_node* list = declaration->find_child(NODE_INIT_IDENTIFIER_LIST);
    for (const St_node* name = list ? list->first_child : nullptr; name; name = name->next_sibling)
        if (name->kind == NODE_INIT_IDENTIFIER)
            names.push_back(name);
}

// The CLASS_PARENT_SPECIFIER of name, or the class node itself when there is none.
const St_node* parent_specifier(const St_node* class_node, const std::string& name)
{
    if (!class_node)
        return nullptr;
    for (const St_node* child = class_node->first_child; child; child = child->next_sibling)
        if (child->kind == NODE_CLASS_PARENT_SPECIFIER && child->text_view() == name)
            return child;
    return class_node;
}

}  // namespace

void Compilation_unit::check_repeated_names(size_t position, const Name_holders& holders)
{
    const Shader_declaration& shader = *shaders_[position];
    std::vector<const St_node*> names;
    for (const St_node* declaration : shader.input_variables)
        declared_names(declaration, names);
    for (const St_node* declaration : shader.output_variables)
        declared_names(declaration, names);
    // Most names are held by this shader alone: the ancestors are walked only for the others.
    std::vector<std::pair<size_t, size_t>> repeats;  // (ancestor's rank, name's place)
    std::vector<size_t> ranks;
    for (size_t place = 0; place < names.size(); ++place) {
        auto found = holders.find(names[place]->text_view());
        if (found == holders.end() || found->second.size() < 2)
            continue;
        if (lends_in_line(position)) {
            for (size_t holder : found->second)
                if (size_t rank = lending_rank(position, holder); rank != SIZE_MAX)
                    repeats.emplace_back(rank, place);
            continue;
        }
        if (ranks.empty()) {
            ranks.assign(shaders_.size(), SIZE_MAX);
            std::vector<size_t> lending = lending_positions(position);
            for (size_t rank = 0; rank < lending.size(); ++rank)
                ranks[lending[rank]] = rank;
        }
        for (size_t holder : found->second)
            if (ranks[holder] != SIZE_MAX)
                repeats.emplace_back(ranks[holder], place);
    }
    std::sort(repeats.begin(), repeats.end());
    for (const auto& repeat : repeats)
        add_error(*names[repeat.second], 42, names[repeat.second]->text_view());
}

void Compilation_unit::link_shader(size_t position, const Name_holders& holders)
{
    Shader_declaration& shader = *shaders_[position];
    St_node* class_node = shader.class_node;
    for (const std::string& parent_name : shader.parent_names) {
        Shader_declaration* parent = find_shader(parent_name);
        if (!parent) {
            const St_node* at = parent_specifier(class_node, parent_name);
            if (at)
                add_error(*at, 41, parent_name);
            continue;
        }
        shader.parents.push_back(parent);
    }

    check_repeated_names(position, holders);
    // The state flags are a union over the lenders: a shader whose ancestors come first takes
    // its parents' joined flags; any other walks its lenders.
    auto join = [&](const Shader_declaration& lender) {
        for (int32_t i = 0; i < STATE_VARIABLE_COUNT; ++i)
            shader.uses_state_variable[i] |= lender.uses_state_variable[i];
        for (int32_t i = 0; i < STATE_FUNCTION_COUNT; ++i)
            shader.uses_state_function[i] |= lender.uses_state_function[i];
    };
    if (ancestors_come_first(position)) {
        for (int32_t parent : parent_positions_[position])
            if (!shaders_[size_t(parent)]->is_technique())
                join(*shaders_[size_t(parent)]);
    } else {
        for (size_t lender : lending_positions(position))
            join(*shaders_[lender]);
    }

    if (shader.is_technique() && class_node) {
        if (!shader.main_method && shader.techniques.empty())
            add_error(*class_node, 47, shader.name);
        if (!shader.input_variables.empty() || !shader.output_variables.empty() || !shader.member_variables.empty())
            add_error(*class_node, 48, shader.name);
    }
}

void Compilation_unit::link_shaders()
{
    if (shaders_linked_)
        return;
    shaders_linked_ = true;
    size_t count = shaders_.size();
    parent_positions_.assign(count, {});
    ancestors_first_.assign(count, false);
    for (size_t i = 0; i < count; ++i) {
        bool first = true;
        for (const std::string& parent_name : shaders_[i]->parent_names) {
            const int32_t* parent = shader_positions_.find(parent_name);
            if (!parent)
                continue;
            parent_positions_[i].push_back(*parent);
            first = first && size_t(*parent) < i && ancestors_first_[size_t(*parent)];
        }
        ancestors_first_[i] = first;
    }
    number_lines();
    // Which shaders hold each own input or output name, each shader once.
    Name_holders holders;
    for (size_t i = 0; i < count; ++i) {
        std::vector<const St_node*> names;
        for (const St_node* declaration : shaders_[i]->input_variables)
            declared_names(declaration, names);
        for (const St_node* declaration : shaders_[i]->output_variables)
            declared_names(declaration, names);
        for (const St_node* name : names) {
            std::vector<size_t>& list = holders[name->text_view()];
            if (list.empty() || list.back() != i)
                list.push_back(i);
        }
    }
    // In order, so that the parents' flags are joined before a child whose ancestors come
    // first reads them.
    for (size_t i = 0; i < count; ++i)
        link_shader(i, holders);
}

void Compilation_unit::number_lines()
{
    size_t count = shaders_.size();
    line_.assign(count, Line_place());
    std::vector<std::vector<size_t>> children(count);
    for (size_t i = 0; i < count; ++i) {
        if (!ancestors_first_[i])
            continue;
        int32_t lender = -1;
        bool one = true;
        for (int32_t parent : parent_positions_[i])
            if (!shaders_[size_t(parent)]->is_technique()) {
                one = one && (lender < 0 || lender == parent);
                lender = parent;
            }
        if (!one || (lender >= 0 && !line_[size_t(lender)].in_line))
            continue;
        line_[i].in_line = true;
        line_[i].parent = lender;
        if (lender >= 0) {
            line_[i].depth = line_[size_t(lender)].depth + 1;
            children[size_t(lender)].push_back(i);
        }
    }
    // Depth first without recursion: a line may be as long as the shader list.
    size_t clock = 0;
    std::vector<std::pair<size_t, size_t>> stack;  // (shader, next child)
    for (size_t root = 0; root < count; ++root) {
        if (!line_[root].in_line || line_[root].parent >= 0)
            continue;
        line_[root].enter = clock++;
        stack.emplace_back(root, 0);
        while (!stack.empty()) {
            auto& [shader, next] = stack.back();
            if (next < children[shader].size()) {
                size_t child = children[shader][next++];
                line_[child].enter = clock++;
                stack.emplace_back(child, 0);
                continue;
            }
            line_[shader].exit = clock++;
            stack.pop_back();
        }
    }
}

size_t Compilation_unit::lending_rank(size_t position, size_t lender) const
{
    const Line_place& from = line_[lender];
    const Line_place& to = line_[position];
    if (!from.in_line || !to.in_line || from.enter >= to.enter || to.exit > from.exit)
        return SIZE_MAX;
    return to.depth - from.depth - 1;
}

void Compilation_unit::join_light_flags()
{
    std::vector<bool> own(shaders_.size());
    for (size_t i = 0; i < shaders_.size(); ++i)
        own[i] = shaders_[i]->uses_lights;
    for (size_t i = 0; i < shaders_.size(); ++i) {
        Shader_declaration& shader = *shaders_[i];
        if (ancestors_come_first(i)) {
            // The parents' flags are final already: they come first.
            for (int32_t parent : parent_positions_[i])
                if (!shaders_[size_t(parent)]->is_technique() && shaders_[size_t(parent)]->uses_lights)
                    shader.uses_lights = true;
            continue;
        }
        for (size_t position : lending_positions(i))
            if (own[position])
                shader.uses_lights = true;
    }
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

/* Vorn: shader compiler and shader-graph engine. The one public header of libvorn.so.
 *
 * A host calls initialize_vorn() once per process, gets the root interface IVorn at count 1 and
 * reaches every other interface through it. Every object handed to the host starts at count 1
 * and is owned by the caller, who ends it with release(). Release every other interface before
 * the root: releasing the root stops the library for the rest of the process.
 */
#ifndef VORN_VORN_H
#define VORN_VORN_H

#include <stdint.h>

namespace vorn {

/* Interface ids for get_interface. */
enum Interface_id : int32_t {
    IID_VORN = 0,
    IID_VORN_COMPILER = 2,
    IID_VORN_GRAPH = 3,
    IID_GRAPH_LIBRARY = 6,
    IID_GRAPH_NODE = 7,
    IID_GRAPH_NODE_CLASS = 8,
    IID_COMPAGE_NODE_CLASS = 9,
    IID_VELAR_NODE_CLASS = 10,
    IID_TYPE = 11,
    IID_PARAMETER_ITERATOR = 12,
    IID_ATTACHMENT_ITERATOR = 13,
    IID_GENERATED_SHADER = 14,
    IID_COMPILATION_UNIT = 15,
    IID_COMPILER_OPTIONS = 16,
    IID_COMPILER_ERRORS = 17,
    IID_GRAPH_ANNOTATIONS = 20,
    IID_GRAPH_LIBRARY_MANAGER = 21,
    IID_SYNTAX_TREE = 22,
    IID_LOG = 23,
};

/* The base of every host-visible object. Reference counts are not atomic. */
class Interface {
public:
    virtual void retain() = 0;
    virtual void release() = 0;
    /* The interface with that id, or null; a non-null result carries a new reference. */
    virtual Interface* get_interface(int32_t id) = 0;
    /* The object behind the interface, for the library's own code. */
    virtual void* get_internal() = 0;

protected:
    ~Interface() = default;
};

/* The root interface. get_interface(2) gives IVorn_compiler, get_interface(3) IVorn_graph. */
class IVorn : public Interface {
public:
    virtual int32_t get_api_version() = 0;
    /* Each replaces the host's list of the named search path set ("shader", "texture", "icon"). */
    virtual void set_shader_path(const char* path) = 0;
    virtual void set_texture_path(const char* path) = 0;
    virtual void set_icon_path(const char* path) = 0;

protected:
    ~IVorn() = default;
};

class IVorn_compiler;
class ICompiler_options;
class ICompiler_errors;
class ICompilation_unit;
class IGenerated_shader;
class ILog;
class IType;
class IDeclaration;
class ISyntax_tree;
class IGraph_node_class;
class ICompage_node_class;
class IVelar_node_class;
class IGraph_node;
class IGraph_library;
class IGraph_annotations;
class IParameter_iterator;
class IAttachment_iterator;
class IGraph_library_manager;
class IVorn_graph;

/* Options handed to a code generator, as key and value texts. The keys "shader_type" (values
 * "surface", "light", "environment", "volume"), "shader_name" and "primary_output" are kept apart;
 * every other key is passed on as it is. */
class ICompiler_options : public Interface {
public:
    /* A null or empty value removes the key. */
    virtual void set_option(const char* key, const char* value) = 0;
    /* The value, owned by the object, or null. */
    virtual const char* get_option(const char* key) = 0;
    /* True if the option is set and equal byte for byte. */
    virtual bool option_equals(const char* key, const char* value) = 0;

protected:
    ~ICompiler_options() = default;
};

/* Diagnostics of a compile, as lists of records each under the name of its file. Indexes run over
 * all lists in order; an index past the end reads as a record of number 0 at position -1. */
class ICompiler_errors : public Interface {
public:
    virtual uint32_t get_count() = 0;
    virtual uint32_t get_error_number(uint32_t index) = 0;
    virtual int32_t get_line(uint32_t index) = 0;
    virtual int32_t get_column(uint32_t index) = 0;
    virtual int32_t get_extra_position(uint32_t index) = 0;
    /* Length of the message without its terminating zero. */
    virtual uint32_t get_message_length(uint32_t index) = 0;
    /* Copies at most size bytes of the message and always ends the buffer with a zero byte. */
    virtual void get_message(uint32_t index, char* buffer, uint32_t size) = 0;

protected:
    ~ICompiler_errors() = default;
};

/* Text generated for one target. Sizes include the terminating zero byte. */
class IGenerated_shader : public Interface {
public:
    virtual const char* get_target() = 0;
    virtual uint32_t get_program_count() = 0;
    virtual const char* get_entry_name(uint32_t index) = 0;
    virtual uint32_t get_program_size(uint32_t index) = 0;
    /* Copies at most size bytes; an index out of range copies the empty text. */
    virtual void copy_program(uint32_t index, char* buffer, uint32_t size) = 0;

protected:
    ~IGenerated_shader() = default;
};

/* A node of a unit's syntax tree. Kinds are the node kinds of the language, but for 56 and 57,
 * which trade places; 72 and above read as 72. A tree wrapper must not outlive its unit. */
class ISyntax_tree : public Interface {
public:
    virtual int32_t get_kind() = 0;
    /* -1 for a text value, 0 for none, else the number of bytes of a binary value. */
    virtual int32_t get_value_length() = 0;
    virtual const void* get_value() = 0;
    virtual IType* get_type() = 0;
    virtual bool get_value_as_bool() = 0;
    virtual int32_t get_value_as_int() = 0;
    virtual double get_value_as_float() = 0;
    virtual const char* get_value_as_text() = 0;
    virtual int32_t get_child_count() = 0;
    /* The child's wrapper, retained; an index past the end ends the process. */
    virtual ISyntax_tree* get_child(int32_t index) = 0;
    /* What the node declares, or null: only declaring nodes have one (see IDeclaration). */
    virtual IDeclaration* get_declaration() = 0;
    /* Appends a node made by ICompilation_unit::create_tree_node of the same unit and not yet
     * added anywhere, which the tree then owns. Any other node (one already in a tree, one of
     * another unit, this node or one that holds it) is refused with a log line. */
    virtual void add_child(ISyntax_tree* child) = 0;
    virtual void set_value(int32_t length, const void* bytes) = 0;
    virtual void set_value_bool(bool value) = 0;
    virtual void set_value_int(int32_t value) = 0;
    virtual void set_value_float(double value) = 0;
    virtual void set_value_text(const char* text) = 0;

protected:
    ~ISyntax_tree() = default;
};

/* Type kinds as IType::get_kind reports them. */
enum Type_kind : int32_t {
    TYPE_KIND_NONE = 0,
    TYPE_KIND_STRUCT = 1,
    TYPE_KIND_SCALAR = 2,
    TYPE_KIND_INT = 3,
    TYPE_KIND_BOOL = 4,
    TYPE_KIND_VECTOR2 = 5,
    TYPE_KIND_VECTOR3 = 6,
    TYPE_KIND_VECTOR4 = 7,
    TYPE_KIND_STRING = 8,
    TYPE_KIND_COLOR = 9,
    TYPE_KIND_VECTOR2I = 10,
    TYPE_KIND_VECTOR3I = 11,
    TYPE_KIND_VECTOR4I = 12,
    TYPE_KIND_VECTOR2B = 13,
    TYPE_KIND_VECTOR3B = 14,
    TYPE_KIND_VECTOR4B = 15,
    TYPE_KIND_MATRIX2X2 = 16,
    TYPE_KIND_MATRIX2X3 = 17,
    TYPE_KIND_MATRIX3X2 = 18,
    TYPE_KIND_MATRIX3X3 = 19,
    TYPE_KIND_MATRIX4X3 = 20,
    TYPE_KIND_MATRIX3X4 = 21,
    TYPE_KIND_MATRIX4X4 = 22,
    TYPE_KIND_MATRIX4X2 = 23,
    TYPE_KIND_MATRIX2X4 = 24,
    TYPE_KIND_TEXTURE1D = 25,
    TYPE_KIND_TEXTURE2D = 26,
    TYPE_KIND_TEXTURE3D = 27,
    TYPE_KIND_TEXTURE_CUBE = 28,
};

/* A type of a unit: of a node, a declaration, a named type or a struct member. Like a tree
 * wrapper it must not outlive its unit. Types that the unit shares with every other unit (the
 * built-in ones and those of the standard prelude) are read only: their setters do nothing. */
class IType : public Interface {
public:
    /* Equal kind and array size; structs also by name. False when either has no type. */
    virtual bool equals(IType* other) = 0;
    virtual const char* get_name() = 0;
    virtual void set_name(const char* name) = 0;
    /* The name of a member's or parameter's own type; null for a type that has none. */
    virtual const char* get_display_name() = 0;
    virtual void set_display_name(const char* name) = 0;
    /* A Type_kind; kinds outside that list read as TYPE_KIND_NONE. */
    virtual int32_t get_kind() = 0;
    virtual void set_kind(int32_t kind) = 0;
    /* 1 for no array, 0 for an array of unknown size, n > 1 for n elements. */
    virtual uint32_t get_array_size() = 0;
    virtual void set_array_size(uint32_t size) = 0;
    /* A struct's first member, and a member's next one; null when there is none. The setters
     * put a copy of the given type (its own members included) in place; null removes the link. */
    virtual IType* get_first_type() = 0;
    virtual void set_first_type(IType* type) = 0;
    virtual IType* get_second_type() = 0;
    virtual void set_second_type(IType* type) = 0;
    /* Bytes of a value block of the type: strings and textures 8 per element, or 16 for an
     * unsized array. */
    virtual uint32_t get_size_of() = 0;
    virtual uint32_t get_alignment() = 0;
    /* As get_size_of without the padding between and after struct members. */
    virtual uint32_t get_packed_size() = 0;
    /* The member of the name, with its byte position and size when the pointers are given. */
    virtual IType* find_member(const char* name, uint32_t* position, uint32_t* size) = 0;
    /* False for the type object of no type. */
    virtual bool is_valid() = 0;
    /* An enum's enumerators in sorted order of their scoped names; none for other types. */
    virtual uint32_t get_enumerator_count() = 0;
    virtual const char* get_enumerator_name(uint32_t index) = 0;
    virtual int32_t get_enumerator_value(uint32_t index) = 0;
    /* Brings derived values up to date after edits. */
    virtual void finish() = 0;

protected:
    ~IType() = default;
};

/* What a node of the tree declares. The flag bits, one per kind of declaration:
 *   0 a variable at file level      3 a member of a struct       6 a variable in a function body
 *   1 an input of a shader          4 a function or method       7 a shader, struct or enum
 *   2 an output of a shader         5 a parameter of a function  8 an enumerator
 * get_value gives a variable's or parameter's array size, a function's parameter count, an
 * enumerator's value, a struct's member count or an enum's enumerator count. It answers no
 * interface id. */
class IDeclaration : public Interface {
public:
    /* True for a declaration reachable beyond one function body (flag 6 clear). */
    virtual bool lacks_flag_6() = 0;
    virtual bool is_flag_0() = 0;
    virtual bool is_flag_1() = 0;
    virtual bool is_flag_2() = 0;
    virtual bool is_flag_3() = 0;
    virtual bool is_flag_4() = 0;
    virtual bool is_flag_5() = 0;
    virtual bool is_flag_6() = 0;
    virtual bool is_flag_7() = 0;
    virtual bool is_flag_8() = 0;
    virtual int32_t get_value() = 0;
    virtual IType* get_type() = 0;
    virtual ISyntax_tree* get_tree() = 0;

protected:
    ~IDeclaration() = default;
};

/* Names of the node kinds as get_kind reports them, for printing. */
inline const char* syntax_tree_kind_name(int32_t kind)
{
    static const char* const names[] = {
        "DECLARATION_LIST", "IDENTIFIER", "INIT_IDENTIFIER_LIST", "INIT_IDENTIFIER", "ARRAY_SPECIFIER",
        "ARRAY_INITIALIZER", "FUNCTION_DECLARATION", "FUNCTION_DECLARATOR", "FUNCTION_PARAMETER_LIST",
        "FUNCTION_PARAMETER", "PARAMETER_QUALIFIER", "FUNCTION_DEFINITION", "VARIABLE_DECLARATION",
        "VARIABLE_SPECIFIERS", "STORAGE_CLASS_SPECIFIER", "SIMPLE_TYPE_SPECIFIER", "NESTED_TYPE_SPECIFIER",
        "CLASS_DECLARATION", "CLASS_MEMBER_DECLARATION_BLOCK_LIST", "CLASS_MEMBER_DECLARATION_BLOCK",
        "CLASS_PARENT_SPECIFIER", "STATEMENT_BLOCK", "CONDITION_STATEMENT", "CONDITION", "EXPRESSION_STATEMENT",
        "DO_STATEMENT", "WHILE_STATEMENT", "FOR_STATEMENT", "FOREACH_STATEMENT", "JUMP_STATEMENT", "FOR_INIT",
        "FOR_CONDITION", "FOR_EXPRESSION", "EXPRESSION_LIST", "ASSIGNMENT_EXPRESSION", "CONDITIONAL_EXPRESSION",
        "OR_EXPRESSION", "XOR_EXPRESSION", "AND_EXPRESSION", "EQUALITY_EXPRESSION", "RELATIONAL_EXPRESSION",
        "ADDITIVE_EXPRESSION", "MULTIPLICATIVE_EXPRESSION", "CAST_EXPRESSION", "PRE_INCREMENT_EXPRESSION",
        "PRE_DECREMENT_EXPRESSION", "UNARY_EXPRESSION", "POST_INCREMENT_EXPRESSION", "POST_DECREMENT_EXPRESSION",
        "CLASS_MEMBER_REF_EXPRESSION", "ARRAY_INDEX_EXPRESSION", "FUNCTION_CALL_EXPRESSION",
        "METHOD_CALL_EXPRESSION", "CONSTRUCTOR_CALL_EXPRESSION", "FUNCTION_CALL_PARAMETERS", "INT_CONSTANT",
        "OCT_CONSTANT", "HEX_CONSTANT", "FLOAT_CONSTANT", "BOOL_CONSTANT", "STRING_CONSTANT", "VARIABLE_ID",
        "MEMBER_VARIABLE_ID", "STATE_VARIABLE_REFERENCE", "STATE_FUNCTION_REFERENCE", "ENUM_DECLARATION",
        "ENUM_MEMBER", "SWITCH_STATEMENT", "SWITCH_CASE", "SWITCH_DEFAULT", "ANNOTATION_BLOCK",
        "IMPORT_DECLARATION", "NO_OP",
    };
    return kind >= 0 && kind < 73 ? names[kind] : "unknown";
}

/* A checked compilation unit. */
class ICompilation_unit : public Interface {
public:
    /* Text for a target ("FX", "GL", "Cg", "Swrc" or one added by a plug-in), or null. */
    virtual IGenerated_shader* generate(const char* target, ICompiler_options* options) = 0;
    virtual uint32_t get_import_count() = 0;
    virtual const char* get_import_name(uint32_t index) = 0;
    virtual ICompilation_unit* get_import_unit(uint32_t index) = 0;
    /* Named types: structs and enums. An index out of range gives a type object of no type. */
    virtual uint32_t get_type_count() = 0;
    virtual const char* get_type_name(int32_t index) = 0;
    virtual IType* get_type(int32_t index) = 0;
    virtual uint32_t get_function_count() = 0;
    virtual ISyntax_tree* get_function(uint32_t index) = 0;
    virtual uint32_t get_shader_count() = 0;
    virtual const char* get_shader_name(uint32_t index) = 0;
    virtual ISyntax_tree* get_shader(uint32_t index) = 0;
    /* A new class of the named shader, which no library holds until IGraph_library::add_class
     * takes it; null when the unit has no such shader. */
    virtual IVelar_node_class* get_node_class(const char* shader_name) = 0;
    /* A new node of a kind as ISyntax_tree::get_kind counts them, with the file name
     * "<internal>", held by the unit until it is added to a tree. */
    virtual ISyntax_tree* create_tree_node(int32_t kind) = 0;
    /* Replaces the unit by the one of a binary compiled file, found as named or through the
     * shader search path. Failures are told by log lines only: a missing file or a bad header
     * leaves the unit as it was, a bad body or footer leaves what was read. The unit read has
     * its declarations; resolve (or the first generate) completes it. */
    virtual void load_binary(const char* file_name) = 0;
    virtual void save_binary(const char* file_name) = 0;
    /* Completes a unit read by load_binary: gives every node its type. Does nothing otherwise. */
    virtual void resolve() = 0;

protected:
    ~ICompilation_unit() = default;
};

/* The host's door to compilation. */
class IVorn_compiler : public Interface {
public:
    virtual ICompiler_options* create_options() = 0;
    virtual ICompiler_errors* create_errors() = 0;
    /* Null on any error; the reasons are in errors when given. */
    virtual ICompilation_unit* compile_file(const char* file_name, ICompiler_errors* errors) = 0;
    virtual ICompilation_unit* compile_source(const char* source, ICompiler_errors* errors) = 0;
    /* As IGraph_node_class::compile. */
    virtual ICompilation_unit* compile_node_class(IGraph_node_class* node_class) = 0;
    /* The graph that ends in node, linked into one unit, which may carry errors; these are
     * appended to errors as one list named "<no_file>". The option "compile_as_brdf" set to
     * "true" links a compound node as a reflectance function. */
    virtual ICompilation_unit* compile_graph(IGraph_node* node, ICompiler_errors* errors,
                                             ICompiler_options* options) = 0;
    /* The node or class named by the option "shader_name", linked for a renderer. */
    virtual ICompilation_unit* compile_for_render(IGraph_library* library, ICompiler_errors* errors,
                                                  ICompiler_options* options) = 0;
    virtual ICompilation_unit* create_compilation_unit() = 0;

protected:
    ~IVorn_compiler() = default;
};

/* Parameter selectors of nodes and classes. */
enum Parameter_selector : uint32_t {
    PARAMETERS_INPUT = 0,
    PARAMETERS_OUTPUT = 1,
};

/* Node class kinds as IVorn_graph::create_class takes them. */
enum Node_class_kind : uint32_t {
    NODE_CLASS_COMPAGE = 0,  /* a compound: an inner graph behind an interface */
    NODE_CLASS_VELAR = 1,    /* one shader of a compiled source */
};

/* Parameter exposure when a graph is linked. */
enum Parameter_exposure : uint32_t {
    EXPOSURE_GLOBAL = 0,   /* one parameter shared by name across the whole link */
    EXPOSURE_ALWAYS = 1,   /* exposed per node */
    EXPOSURE_DECIDED = 2,  /* exposed when the linker finds it needs to be (the default) */
};

/* Callbacks of a host on graph edits. Set on a library, a class or a node; every operation has
 * an empty default. The interfaces passed in are valid for the call only (retain one to keep
 * it). The library holds a plain pointer: the observer must outlive its registration, so set
 * null before destroying it. */
class IGraph_observer {
public:
    virtual ~IGraph_observer() = default;
    /* Node events. */
    virtual void value_changed(IGraph_node* /*node*/, bool /*is_output*/, const char* /*parameter*/) {}
    virtual void attached(IGraph_node* /*node*/, bool /*is_output*/, const char* /*path*/) {}
    virtual void detached(IGraph_node* /*node*/, bool /*is_output*/, const char* /*parameter*/, const char* /*member*/) {}
    /* Class events. */
    virtual void parameter_added(IGraph_node_class* /*node_class*/, bool /*is_output*/, const char* /*name*/) {}
    virtual void parameter_removed(IGraph_node_class* /*node_class*/, bool /*is_output*/, const char* /*name*/) {}
    virtual void node_renamed(IGraph_node* /*node*/, const char* /*old_name*/, const char* /*new_name*/) {}
    virtual void node_created(IGraph_node_class* /*node_class*/, IGraph_node* /*node*/) {}
    virtual void class_value_changed(IGraph_node_class* /*node_class*/, bool /*is_output*/, const char* /*parameter*/) {}
    /* Library and compound events. */
    virtual void library_node_added(IGraph_library* /*library*/, IGraph_node* /*node*/) {}
    virtual void compound_node_added(ICompage_node_class* /*compound*/, IGraph_node* /*node*/) {}
    virtual void library_node_removed(IGraph_library* /*library*/, IGraph_node* /*node*/) {}
    virtual void library_class_removed(IGraph_library* /*library*/, IGraph_node_class* /*node_class*/) {}
    virtual void library_class_added(IGraph_library* /*library*/, IGraph_node_class* /*node_class*/) {}
};

/* The named metadata of a class, a node or a parameter: display_name("x"), shader_type("light").
 * Each annotation is a struct type named after it, one member per argument, and a value laid out
 * as that struct. */
class IGraph_annotations : public Interface {
public:
    virtual uint32_t get_count() = 0;
    /* Null past the end. */
    virtual const char* get_name(uint32_t index) = 0;
    /* The struct type of the arguments, or null past the end. */
    virtual IType* get_type(uint32_t index) = 0;
    /* The value block, or null for an annotation without arguments or past the end. */
    virtual const void* get_value(uint32_t index) = 0;
    /* Replaces the value by a copy of bytes laid out by get_type (texts are copied); false
     * past the end or for an annotation without arguments. */
    virtual bool set_value(uint32_t index, const void* bytes) = 0;
    /* Appends an annotation with one argument per type (count of them) and a copy of bytes;
     * null bytes leave zeroes. False for a null name or a null type. */
    virtual bool add(const char* name, uint32_t type_count, IType* const* types, const void* bytes) = 0;
    /* Removes one annotation, moving the rest down; false past the end. */
    virtual bool remove(uint32_t index) = 0;
    /* Index of the first annotation of the name, or -1. */
    virtual int32_t find(const char* name) = 0;

protected:
    ~IGraph_annotations() = default;
};

/* Walks the wires of one parameter. */
class IAttachment_iterator : public Interface {
public:
    virtual void next() = 0;
    /* Moves to the first wire feeding the member ("" for the whole parameter); false if none. */
    virtual bool find(const char* member) = 0;
    virtual void reset() = 0;
    virtual bool at_end() = 0;
    /* The part of the parameter the wire feeds ("" for all of it), and the path on the far side. */
    virtual const char* get_member_name() = 0;
    virtual const char* get_target_name() = 0;
    /* The node on the far side; null for the interface of the surrounding compound. */
    virtual IGraph_node* get_target_node() = 0;

protected:
    ~IAttachment_iterator() = default;
};

/* Walks the inputs or outputs of a node or class. */
class IParameter_iterator : public Interface {
public:
    virtual void next() = 0;
    /* Moves to the first parameter of the name; false if none. */
    virtual bool find(const char* name) = 0;
    virtual void reset() = 0;
    virtual bool at_end() = 0;
    /* Of the current parameter; null (or 0) at the end. */
    virtual const char* get_name() = 0;
    virtual IType* get_type() = 0;
    /* The value block laid out by the type (a text is a pointer to its characters; an unsized
     * array a 32-bit count and, at offset 8, a pointer to the elements). */
    virtual const void* get_value() = 0;
    virtual IAttachment_iterator* get_attachments() = 0;
    virtual IGraph_annotations* get_annotations() = 0;
    /* A Parameter_exposure; setting a value above 2 is refused. */
    virtual uint32_t get_exposure() = 0;
    virtual void set_exposure(uint32_t exposure) = 0;

protected:
    ~IParameter_iterator() = default;
};

/* One use of a node class. A node belongs to its library or compound: a wrapper does not keep
 * it alive, and once the node is gone every call on the wrapper is refused with a log line. */
class IGraph_node : public Interface {
public:
    virtual const char* get_name() = 0;
    virtual void set_name(const char* name) = 0;
    virtual IGraph_node_class* get_node_class() = 0;
    /* The class as a compound, or null when it is not one. */
    virtual ICompage_node_class* get_compage_class() = 0;
    /* Wires input_path ("color", "color.r", "list[2].x") to target_path of target's outputs, or,
     * with a null target, to the interface input of that name of the compound the node is in. */
    virtual void attach(const char* input_path, IGraph_node* target, const char* target_path) = 0;
    virtual void detach(const char* input_path) = 0;
    /* Replaces a whole parameter's value (inputs first, then outputs) by a copy of bytes. */
    virtual bool set_parameter_value(const char* name, const void* bytes) = 0;
    /* The value at a path of an input, else of an output; 0 when there is none. */
    virtual const void* get_parameter_value(const char* path) = 0;
    virtual IParameter_iterator* get_parameters(uint32_t selector) = 0;
    virtual uint32_t get_parameter_count(uint32_t selector) = 0;
    /* A parameter of the node alone (an input named after a state variable, for instance). */
    virtual bool add_parameter(uint32_t selector, const char* name, IType* type, const void* default_value) = 0;
    /* Detaches the parameter's wires and removes it. */
    virtual bool remove_parameter(uint32_t selector, const char* name) = 0;
    virtual IGraph_observer* get_observer() = 0;
    virtual void set_observer(IGraph_observer* observer) = 0;
    /* Detaches and deletes the node through its library or compound; the wrapper is empty after. */
    virtual void destroy() = 0;
    virtual IGraph_annotations* get_annotations() = 0;
    /* The compound that holds the node, or null for a node of a library. */
    virtual ICompage_node_class* get_parent() = 0;

protected:
    ~IGraph_node() = default;
};

/* A node class: a shader of a compiled source (IVelar_node_class) or a compound
 * (ICompage_node_class). get_interface answers IID_GRAPH_NODE_CLASS and the id of the kind. */
class IGraph_node_class : public Interface {
public:
    virtual const char* get_name() = 0;
    virtual void set_name(const char* name) = 0;
    /* On a compound the parameter is also an interface parameter that inner nodes attach to. */
    virtual bool add_parameter(uint32_t selector, const char* name, IType* type, const void* default_value) = 0;
    virtual bool remove_parameter(uint32_t selector, const char* name) = 0;
    /* The default of an input (else an output), replaced by a copy of bytes. */
    virtual bool set_parameter_value(const char* name, const void* bytes) = 0;
    virtual const void* get_parameter_value(const char* path) = 0;
    virtual IParameter_iterator* get_parameters(uint32_t selector) = 0;
    /* Index of the first parameter of the name, or -1. */
    virtual int32_t find_parameter(uint32_t selector, const char* name) = 0;
    /* The nodes made from the class that still exist. */
    virtual uint32_t get_instance_count() = 0;
    virtual IGraph_node* get_instance(uint32_t index) = 0;
    virtual IGraph_observer* get_observer() = 0;
    virtual void set_observer(IGraph_observer* observer) = 0;
    /* The shader declaration of a class from a source, in its unit; null for a compound. */
    virtual ISyntax_tree* get_shader_tree() = 0;
    /* The class linked into a unit of its own (a compound through its inner graph), or null when
     * it cannot be linked. The unit may carry errors. */
    virtual ICompilation_unit* compile() = 0;
    virtual IGraph_annotations* get_annotations() = 0;
    /* The source file a class from a source was compiled from, as the graph file or the
     * compile named it; "" for a class without a file (the intrinsic classes). A compound gives
     * the graph file it was last read from or saved to, if any. */
    virtual const char* get_file_name() = 0;

protected:
    ~IGraph_node_class() = default;
};

/* A class made from one shader of a compiled source. */
class IVelar_node_class : public IGraph_node_class {
protected:
    ~IVelar_node_class() = default;
};

/* A compound class: an inner graph wired to the class's parameters. */
class ICompage_node_class : public IGraph_node_class {
public:
    virtual uint32_t get_node_count() = 0;
    virtual IGraph_node* get_node(uint32_t index) = 0;
    /* Takes a node that nothing owns yet; false for any other. */
    virtual bool add_node(IGraph_node* node) = 0;
    /* Detaches and deletes an inner node. */
    virtual bool remove_node(IGraph_node* node) = 0;
    /* A new inner node of node_class; the name is made a legal identifier. */
    virtual IGraph_node* create_node(IGraph_node_class* node_class, const char* name) = 0;
    virtual IGraph_node* find_node(const char* name) = 0;
    /* Wires an interface output to an output of an inner node, or, with a null source, to the
     * interface input of that name. */
    virtual void attach_interface(const char* interface_output, IGraph_node* source, const char* source_name) = 0;

protected:
    ~ICompage_node_class() = default;
};

/* Handed to the loaders; made by the embedding's own manager function, if any. The manager that
 * load_library_manager returns wraps the function's object, which its get_internal() gives back
 * and which its last release releases. */
class IGraph_library_manager : public Interface {
protected:
    ~IGraph_library_manager() = default;
};

/* A library: node classes and top-level nodes, and what a graph file (.xovl) holds. Classes are
 * indexed sources first, then compounds. */
class IGraph_library : public Interface {
public:
    virtual uint32_t get_class_count() = 0;
    virtual IGraph_node_class* find_class(const char* name) = 0;
    virtual IGraph_node_class* get_class(uint32_t index) = 0;
    /* Takes a class that no library holds yet (one from ICompilation_unit::get_node_class). */
    virtual bool add_class(IGraph_node_class* node_class) = 0;
    /* A new empty compound (NODE_CLASS_COMPAGE); a class from a source comes from a unit instead,
     * so NODE_CLASS_VELAR gives null. */
    virtual IGraph_node_class* create_class(uint32_t kind, const char* name) = 0;
    /* Deletes the class; its nodes keep their parameters and have no class. */
    virtual bool remove_class(IGraph_node_class* node_class) = 0;
    virtual uint32_t get_node_count() = 0;
    virtual IGraph_node* find_node(const char* name) = 0;
    virtual IGraph_node* get_node(uint32_t index) = 0;
    /* Takes a node that nothing owns yet; false for any other. */
    virtual bool add_node(IGraph_node* node) = 0;
    /* A new top-level node of node_class; the name is made a legal identifier. */
    virtual IGraph_node* create_node(IGraph_node_class* node_class, const char* name) = 0;
    /* Detaches and deletes a top-level node. */
    virtual bool remove_node(IGraph_node* node) = 0;
    /* Reads a graph file into this library; its sources already here are not compiled again.
     * Diagnostics are appended to errors. False when the file could not be read at all. */
    virtual bool add_from_file(const char* file_name, ICompiler_errors* errors) = 0;
    /* Moves every class and node of other here; other ends empty. */
    virtual void merge(IGraph_library* other) = 0;
    /* Writes the library as a graph file. False for a null name, or for a file that does not
     * exist in a directory that does not either, or that cannot be written. */
    virtual bool save_to_file(const char* file_name) = 0;
    virtual IGraph_observer* get_observer() = 0;
    virtual void set_observer(IGraph_observer* observer) = 0;
    /* Lets go of the library: it ends when no other handle shares it, and every later call on
     * this wrapper is refused. */
    virtual void detach_object() = 0;
    /* The library's own annotations, for the host's metadata on the whole library. Graph files
     * do not keep them. Refused (null) once the library has ended, as every call is. */
    virtual IGraph_annotations* get_annotations() = 0;

protected:
    ~IGraph_library() = default;
};

/* The host's door to shader graphs. */
class IVorn_graph : public Interface {
public:
    /* A new type of the kind (Type_kind) and array size (1: none, 0: unsized). A type other than
     * a struct is complete; a struct is given its members through set_first_type. */
    virtual IType* create_type(const char* name, int32_t kind, uint32_t array_size) = 0;
    /* Empties errors, then calls the manager function that the embedding installed through
     * IGraph_hooks and appends the error lists it left to errors, list by list. The manager it
     * returned comes back wrapped; null when it returned none or none is installed. */
    virtual IGraph_library_manager* load_library_manager(const char* path, ICompiler_errors* errors) = 0;
    virtual IGraph_library* create_library() = 0;
    /* A library read from a graph file or from its text; diagnostics are appended to errors.
     * Null only when nothing could be read (no such file, empty text); after a problem inside
     * the file the library holds what was read. The host data of the file goes to the read
     * functions installed through IGraph_hooks. */
    virtual IGraph_library* load_library(const char* file_name, IGraph_library_manager* manager,
                                         ICompiler_errors* errors) = 0;
    virtual IGraph_library* load_library_from_text(const char* text, IGraph_library_manager* manager,
                                                   ICompiler_errors* errors) = 0;

protected:
    ~IVorn_graph() = default;
};

/* Messages into the library's log, as the compiler's own. */
class ILog : public Interface {
public:
    virtual void info(const char* format, ...) = 0;
    virtual void warning(const char* format, ...) = 0;
    virtual void error(const char* format, ...) = 0;

protected:
    ~ILog() = default;
};

/* Extensions: what the interfaces above cannot express, under interface ids of our own. They
 * leave every interface above as it is. IVorn_compiler::get_interface(IID_COMPILE_SESSION) gives
 * a new ICompile_session at count 1. */
enum Extension_interface_id : int32_t {
    IID_COMPILE_SESSION = 1000,
    /* IVorn_graph::get_interface(IID_GRAPH_HOOKS) gives a new IGraph_hooks at count 1. */
    IID_GRAPH_HOOKS = 1001,
};

/* A destination for the library's log lines, implemented by the host. While one is set, every
 * line goes to it and none to standard error. It is called on the thread that logs. */
class ILog_sink {
public:
    /* severity: 0 fatal, 1 error, 2 warning, 3 to 7 statistics and progress, 8 info, 9 and 10
     * debug, 11 assertion. module: the four-letter tag of the module that logged ("CF12", "COMP").
     * text: one line, without its end. */
    virtual void log_line(int32_t severity, const char* module, const char* text) = 0;

protected:
    virtual ~ILog_sink() = default;
};

/* Severities of ICompile_session's diagnostics. */
enum Diagnostic_severity : int32_t {
    DIAGNOSTIC_ERROR = 1,
    DIAGNOSTIC_WARNING = 2,
};

/* Compiles with settings of its own and keeps what the last run found. Settings stay for every
 * later run of the session. A run replaces the results of the one before; texts that the session
 * returns stay valid until its next run. */
class ICompile_session : public Interface {
public:
    /* Defines a macro for every file compiled, as a first line "#define NAME VALUE" would (a null
     * value defines it as 1). Later calls for a name replace earlier ones; false for a name that is
     * not an identifier. */
    virtual bool define_macro(const char* name, const char* value) = 0;
    /* Removes a macro, also one of the standard prelude, as "#undef NAME" would. */
    virtual bool undefine_macro(const char* name) = 0;
    /* Appends a directory where #include and #import look after the including file's own
     * directory and before the shader search path. */
    virtual void add_include_directory(const char* directory) = 0;

    /* Compiles length bytes of text under file_name, which messages show and relative includes
     * start from; a null text reads the file file_name through the shader search path instead.
     * Results and collector as IVorn_compiler::compile_file: null on any error. */
    virtual ICompilation_unit* compile(const char* file_name, const char* text, uint32_t length,
                                       ICompiler_errors* errors) = 0;
    /* Only preprocesses, includes included: the text, or null after an error (see the
     * diagnostics). Imports stay as directives. */
    virtual const char* preprocess(const char* file_name, const char* text, uint32_t length) = 0;

    /* The errors and warnings of the last run, in order: warnings (an #include that cannot be
     * read or whose file has errors, placed at the directive), then errors as the collector has
     * them. The message is the library's text for the diagnostic; the number that of the
     * diagnostics table, 0 for a warning. */
    virtual uint32_t get_diagnostic_count() = 0;
    virtual int32_t get_diagnostic_severity(uint32_t index) = 0;
    virtual const char* get_diagnostic_file(uint32_t index) = 0;
    virtual int32_t get_diagnostic_line(uint32_t index) = 0;
    virtual int32_t get_diagnostic_column(uint32_t index) = 0;
    virtual uint32_t get_diagnostic_number(uint32_t index) = 0;
    virtual const char* get_diagnostic_message(uint32_t index) = 0;

    /* Every file the last run read besides its own text (includes and imports, nested ones too),
     * as found, once each, in the order first read. */
    virtual uint32_t get_dependency_count() = 0;
    virtual const char* get_dependency(uint32_t index) = 0;

    /* The declaration list of the last compile as far as the parser built it, also when the run
     * had errors; null when nothing was parsed. */
    virtual ISyntax_tree* get_tree() = 0;
    /* The line and column of a node of any tree, or false. */
    virtual bool get_position(ISyntax_tree* node, int32_t* line, int32_t* column) = 0;

    /* The code generators' target names, built-in ones and those of plug-ins. */
    virtual uint32_t get_target_count() = 0;
    virtual const char* get_target_name(uint32_t index) = 0;

    /* Sends every log line of the library to sink, for the whole library and until it is set
     * again; null goes back to standard error. The host keeps sink alive while it is set. */
    virtual void set_log_sink(ILog_sink* sink) = 0;

    /* The unit's tree as Ovrel source text, also of a unit that a graph was linked into: what
     * the linker built, which compiled again generates the same text. A run of its own; the text
     * stays valid until the next run. Null when the tree has no source form (a string holding a
     * quote, say), with the reason as the run's one error. */
    virtual const char* print_source(ICompilation_unit* unit) = 0;

protected:
    ~ICompile_session() = default;
};

/* The handle a host's data function writes with, inside the gui_data element of a node or the
 * render_data element of a graph file. An attribute belongs to the element opened last, as long
 * as it has no child yet; values are written as they stand, unescaped. The host closes only what
 * it opened, and the library closes what it left open. Valid for the call only. */
class IGraph_data_writer {
public:
    virtual void begin_element(const char* name) = 0;
    virtual void end_element() = 0;
    virtual void attribute(const char* name, int32_t value) = 0;
    virtual void attribute(const char* name, const char* value) = 0;

protected:
    ~IGraph_data_writer() = default;
};

/* The embedding's functions for its own data in graph files. A null function is left out: a
 * save writes gui_data in every node only with write_gui, and render_data (last in the file)
 * only with write_render. A read hands each element, printed as indented XML from its own start
 * tag to its end tag, to read_gui with the node it is in, or to read_render. The node is valid
 * for the call only (retain it to keep it); the graph must not be edited from these functions. */
struct Graph_data_functions {
    void* context;
    void (*write_gui)(void* context, IGraph_node* node, IGraph_data_writer* writer);
    void (*write_render)(void* context, IGraph_data_writer* writer);
    void (*read_gui)(void* context, IGraph_node* node, const char* text);
    void (*read_render)(void* context, const char* text);
};

/* The embedding's library manager function: a manager for path, or null. Error lists it leaves
 * in errors (filled by the library's own calls that take a collector) reach the caller of
 * IVorn_graph::load_library_manager. The manager is returned at count 1, and the library keeps
 * that reference. */
typedef IGraph_library_manager* (*Library_manager_function)(void* context, const char* path,
                                                            ICompiler_errors* errors);

/* What the embedding installs for the graph interfaces. Each setting holds for the whole library
 * until it is set again, whichever IGraph_hooks set it. */
class IGraph_hooks : public Interface {
public:
    /* Null uninstalls: load_library_manager then returns null. */
    virtual void set_library_manager_function(Library_manager_function function, void* context) = 0;
    /* Copies the functions; null removes them all. Used by IVorn_graph::load_library,
     * load_library_from_text, IGraph_library::add_from_file and IGraph_library::save_to_file. */
    virtual void set_data_functions(const Graph_data_functions* functions) = 0;

protected:
    ~IGraph_hooks() = default;
};

}  // namespace vorn

extern "C" {
/* Starts the library and returns the root interface at count 1; null on any later call. */
vorn::IVorn* initialize_vorn(void);
typedef vorn::IVorn* (*Initialize_vorn_function)(void);
}

#endif

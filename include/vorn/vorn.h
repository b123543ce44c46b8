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
class IVelar_node_class;
class IGraph_node;
class IGraph_library;

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
    virtual ICompilation_unit* compile_node_class(IGraph_node_class* node_class) = 0;
    virtual ICompilation_unit* compile_graph(IGraph_node* node, ICompiler_errors* errors,
                                             ICompiler_options* options) = 0;
    virtual ICompilation_unit* compile_for_render(IGraph_library* library, ICompiler_errors* errors,
                                                  ICompiler_options* options) = 0;
    virtual ICompilation_unit* create_compilation_unit() = 0;

protected:
    ~IVorn_compiler() = default;
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

}  // namespace vorn

extern "C" {
/* Starts the library and returns the root interface at count 1; null on any later call. */
vorn::IVorn* initialize_vorn(void);
typedef vorn::IVorn* (*Initialize_vorn_function)(void);
}

#endif

// Ovrel source from a tree. The tree has no parentheses: they are put back from the levels of
// the expression grammar, so that reading the text builds the same operator nodes again.
#include "syntax_tree/source_printer.h"

#include <cstring>
#include <vector>

#include "syntax_tree/st_node.h"
#include "syntax_tree/state_tables.h"
#include "syntax_tree/tree_traverser.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

// The levels of the expression grammar, weakest first.
enum Level : int32_t {
    LEVEL_COMMA,
    LEVEL_ASSIGNMENT,
    LEVEL_CONDITIONAL,
    LEVEL_OR,
    LEVEL_XOR,
    LEVEL_AND,
    LEVEL_EQUALITY,
    LEVEL_RELATIONAL,
    LEVEL_ADDITIVE,
    LEVEL_MULTIPLICATIVE,
    LEVEL_CAST,
    LEVEL_UNARY,
    LEVEL_POSTFIX,
    LEVEL_PRIMARY,
};

bool is_number(const St_node* node)
{
    return node->kind == NODE_INT_CONSTANT || node->kind == NODE_HEX_CONSTANT || node->kind == NODE_OCT_CONSTANT ||
           node->kind == NODE_FLOAT_CONSTANT;
}

int32_t level_of(const St_node* node)
{
    switch (node->kind) {
    case NODE_EXPRESSION_LIST: return LEVEL_COMMA;
    case NODE_ASSIGNMENT_EXPRESSION: return LEVEL_ASSIGNMENT;
    case NODE_CONDITIONAL_EXPRESSION: return LEVEL_CONDITIONAL;
    case NODE_OR_EXPRESSION: return LEVEL_OR;
    case NODE_XOR_EXPRESSION: return LEVEL_XOR;
    case NODE_AND_EXPRESSION: return LEVEL_AND;
    case NODE_EQUALITY_EXPRESSION: return LEVEL_EQUALITY;
    case NODE_RELATIONAL_EXPRESSION: return LEVEL_RELATIONAL;
    case NODE_ADDITIVE_EXPRESSION: return LEVEL_ADDITIVE;
    case NODE_MULTIPLICATIVE_EXPRESSION: return LEVEL_MULTIPLICATIVE;
    case NODE_CAST_EXPRESSION: return LEVEL_CAST;
    case NODE_PRE_INCREMENT_EXPRESSION:
    case NODE_PRE_DECREMENT_EXPRESSION:
    case NODE_UNARY_EXPRESSION: return LEVEL_UNARY;
    case NODE_POST_INCREMENT_EXPRESSION:
    case NODE_POST_DECREMENT_EXPRESSION:
    case NODE_CLASS_MEMBER_REF_EXPRESSION:
    case NODE_ARRAY_INDEX_EXPRESSION: return LEVEL_POSTFIX;
    default: break;
    }
    // A constant that the graph code wrote with its sign reads back as a sign over a number.
    if (is_number(node) && node->text_size < 0 && node->text && (node->text[0] == '-' || node->text[0] == '+'))
        return LEVEL_UNARY;
    return LEVEL_PRIMARY;
}

// The binary levels that the grammar builds from the left, so that a chain of them nests down
// its left side.
bool builds_from_left(const St_node* node)
{
    int32_t level = level_of(node);
    return node->kind != NODE_EXPRESSION_LIST && level >= LEVEL_ASSIGNMENT && level <= LEVEL_MULTIPLICATIVE &&
           level != LEVEL_CONDITIONAL;
}

const char* default_operator(int32_t kind)
{
    switch (kind) {
    case NODE_OR_EXPRESSION: return "||";
    case NODE_XOR_EXPRESSION: return "^^";
    case NODE_AND_EXPRESSION: return "&&";
    case NODE_ASSIGNMENT_EXPRESSION: return "=";
    default: return "";
    }
}

// A string constant is written between quotes with no escapes: the lexer ends it at a quote
// and refuses line ends and the bytes below 3.
bool writable_string(std::string_view text)
{
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (byte <= 2 || c == '"' || c == '\n' || c == '\r')
            return false;
    }
    return true;
}

// The else branch of an if without braces would take the else of an enclosing if when this
// statement ends in an if without one.
bool ends_in_open_if(const St_node* statement)
{
    while (statement) {
        switch (statement->kind) {
        case NODE_CONDITION_STATEMENT:
            if (statement->child_count() < 3)
                return true;
            statement = statement->child(2);
            break;
        case NODE_WHILE_STATEMENT:
        case NODE_FOR_STATEMENT:
        case NODE_FOREACH_STATEMENT:
            statement = statement->child(statement->child_count() - 1);
            break;
        default:
            return false;
        }
    }
    return false;
}

class Source_printer {
public:
    explicit Source_printer(std::string& out) : out_(out) {}

    bool run(const St_node* node)
    {
        if (!node)
            fail("no tree");
        else if (node->kind == NODE_DECLARATION_LIST)
            declarations(node->first_child);
        else if (is_declaration(node))
            declaration(node);
        else if (is_statement(node))
            statement(node);
        else
            expression(node, LEVEL_COMMA);
        return error_.empty();
    }

    std::string error_;

private:
    // Counts one level of nesting while it lives.
    class Level_guard {
    public:
        explicit Level_guard(Source_printer& printer) : printer_(printer)
        {
            if (++printer_.depth_ > Tree_traverser_base::DEPTH_LIMIT)
                printer_.fail("the tree is nested too deep to print");
        }
        ~Level_guard() { --printer_.depth_; }
        Level_guard(const Level_guard&) = delete;
        Level_guard& operator=(const Level_guard&) = delete;
        bool ok() const { return printer_.error_.empty(); }

    private:
        Source_printer& printer_;
    };

    void fail(const std::string& reason)
    {
        if (error_.empty())
            error_ = reason;
    }

    void fail_kind(const St_node* node, const char* where)
    {
        fail(std::string("a ") + St_node::kind_name(node->kind) + " node has no source form " + where);
    }

    void write(std::string_view text) { out_ += text; }
    void start_line() { out_.append(size_t(indent_) * 4, ' '); }

    // A name; a missing one would print text that reads differently.
    void name(const St_node* node)
    {
        if (!node || !node->has_text() || node->text_size > 0)
            return fail("a name is missing");
        write(node->text_view());
    }

    static bool is_declaration(const St_node* node)
    {
        switch (node->kind) {
        case NODE_VARIABLE_DECLARATION:
        case NODE_FUNCTION_DECLARATION:
        case NODE_FUNCTION_DEFINITION:
        case NODE_CLASS_DECLARATION:
        case NODE_ENUM_DECLARATION:
        case NODE_IMPORT_DECLARATION:
            return true;
        default:
            return false;
        }
    }

    static bool is_statement(const St_node* node)
    {
        return (node->kind >= NODE_STATEMENT_BLOCK && node->kind <= NODE_JUMP_STATEMENT &&
                node->kind != NODE_CONDITION) ||
               node->kind == NODE_SWITCH_STATEMENT || node->kind == NODE_NO_OP;
    }

    // Declarations

    // A list of declarations, one after the other; functions and classes stand apart.
    void declarations(const St_node* first)
    {
        for (const St_node* item = first; item && error_.empty(); item = item->next_sibling) {
            bool apart = item->kind == NODE_FUNCTION_DEFINITION || item->kind == NODE_CLASS_DECLARATION;
            if (apart && item != first)
                write("\n");
            declaration(item);
        }
    }

    void declaration(const St_node* node)
    {
        Level_guard guard(*this);
        if (!guard.ok())
            return;
        switch (node->kind) {
        case NODE_VARIABLE_DECLARATION:
            start_line();
            variable_declaration(node);
            write(";\n");
            break;
        case NODE_FUNCTION_DECLARATION:
            start_line();
            function_header(node);
            write(";\n");
            break;
        case NODE_FUNCTION_DEFINITION:
            function_definition(node);
            break;
        case NODE_CLASS_DECLARATION:
            class_declaration(node);
            break;
        case NODE_ENUM_DECLARATION:
            enum_declaration(node);
            break;
        case NODE_IMPORT_DECLARATION:
            write("#import <");
            name(node);
            write(">\n");
            break;
        case NODE_NO_OP:
            break;
        default:
            fail_kind(node, "among declarations");
            break;
        }
    }

    // specifiers name [= value] {annotations}, ... without the semicolon.
    void variable_declaration(const St_node* node)
    {
        variable_specifiers(node->find_child(NODE_VARIABLE_SPECIFIERS));
        const St_node* names = node->find_child(NODE_INIT_IDENTIFIER_LIST);
        if (!names || !names->first_child)
            return fail("a variable declaration declares no name");
        write(" ");
        for (const St_node* item = names->first_child; item && error_.empty(); item = item->next_sibling) {
            init_identifier(item);
            if (item->next_sibling)
                write(", ");
        }
    }

    void variable_specifiers(const St_node* node)
    {
        if (!node || !node->first_child)
            return fail("a declaration has no type");
        const St_node* type = node->first_child;
        if (type->kind == NODE_STORAGE_CLASS_SPECIFIER) {
            name(type);
            write(" ");
            type = type->next_sibling;
        }
        type_specifier(type);
    }

    void type_specifier(const St_node* node)
    {
        if (!node)
            return fail("a type is missing");
        if (node->kind == NODE_SIMPLE_TYPE_SPECIFIER)
            return name(node);
        if (node->kind != NODE_NESTED_TYPE_SPECIFIER)
            return fail_kind(node, "as a type");
        // "global" starts the path at file level: ::A::B.
        bool from_top = node->text_view() == "global";
        for (const St_node* part = node->first_child; part; part = part->next_sibling) {
            if (from_top || part != node->first_child)
                write("::");
            name(part);
        }
    }

    void init_identifier(const St_node* node)
    {
        if (node->kind != NODE_INIT_IDENTIFIER)
            return fail_kind(node, "as a declared name");
        name(node);
        for (const St_node* part = node->first_child; part && error_.empty(); part = part->next_sibling) {
            switch (part->kind) {
            case NODE_ARRAY_SPECIFIER:
                array_specifier(part);
                break;
            case NODE_FUNCTION_CALL_PARAMETERS:
                write("(");
                arguments(part);
                write(")");
                break;
            case NODE_ANNOTATION_BLOCK:
                write(" ");
                annotation_block(part);
                break;
            case NODE_ARRAY_INITIALIZER:
                write(" = ");
                expression(part, LEVEL_ASSIGNMENT);
                break;
            default:
                write(" = ");
                expression(part, LEVEL_ASSIGNMENT);
                break;
            }
        }
    }

    void array_specifier(const St_node* node)
    {
        write("[");
        if (node->first_child)
            expression(node->first_child, LEVEL_PRIMARY);
        write("]");
    }

    // { call(...); call(...); }
    void annotation_block(const St_node* node)
    {
        write("{");
        for (const St_node* call = node->first_child; call && error_.empty(); call = call->next_sibling) {
            write(" ");
            if (call->kind != NODE_FUNCTION_CALL_EXPRESSION)
                return fail_kind(call, "in an annotation block");
            expression(call, LEVEL_PRIMARY);
            write(";");
        }
        write(" }");
    }

    // [native] type name(parameters)
    void function_header(const St_node* node)
    {
        if (node->kind != NODE_FUNCTION_DECLARATION)
            return fail_kind(node, "as a function header");
        if (node->text_view() == "native")
            write("native ");
        const St_node* type = node->first_child;
        type_specifier(type);
        const St_node* declarator = node->find_child(NODE_FUNCTION_DECLARATOR);
        if (!declarator || !declarator->first_child)
            return fail("a function has no name");
        write(" ");
        for (const St_node* part = declarator->first_child; part; part = part->next_sibling) {
            name(part);
            if (part->next_sibling)
                write("::");
        }
        write("(");
        const St_node* parameters = node->find_child(NODE_FUNCTION_PARAMETER_LIST);
        for (const St_node* item = parameters ? parameters->first_child : nullptr; item && error_.empty();
             item = item->next_sibling) {
            function_parameter(item);
            if (item->next_sibling)
                write(", ");
        }
        write(")");
    }

    // [in|out|inout] type name [size]
    void function_parameter(const St_node* node)
    {
        if (node->kind != NODE_FUNCTION_PARAMETER)
            return fail_kind(node, "in a parameter list");
        const St_node* part = node->first_child;
        if (part && part->kind == NODE_PARAMETER_QUALIFIER) {
            name(part);
            write(" ");
            part = part->next_sibling;
        }
        type_specifier(part);
        write(" ");
        name(node);
        if (const St_node* size = node->find_child(NODE_ARRAY_SPECIFIER))
            array_specifier(size);
    }

    void function_definition(const St_node* node)
    {
        const St_node* header = node->find_child(NODE_FUNCTION_DECLARATION);
        const St_node* body = node->find_child(NODE_STATEMENT_BLOCK);
        if (!header || !body)
            return fail("a function definition lacks its header or its body");
        start_line();
        function_header(header);
        write("\n");
        block(body);
    }

    // key Name : Parent::Other
    // {
    // label:
    //     members
    // } {annotations};
    void class_declaration(const St_node* node)
    {
        start_line();
        name(node);
        write(" ");
        name(node->find_child(NODE_IDENTIFIER));
        bool first_parent = true;
        for (const St_node* part = node->first_child; part; part = part->next_sibling) {
            if (part->kind != NODE_CLASS_PARENT_SPECIFIER)
                continue;
            write(first_parent ? " : " : "::");
            name(part);
            first_parent = false;
        }
        write("\n");
        start_line();
        write("{\n");
        const St_node* blocks = node->find_child(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
        for (const St_node* item = blocks ? blocks->first_child : nullptr; item && error_.empty();
             item = item->next_sibling) {
            if (item->kind != NODE_CLASS_MEMBER_DECLARATION_BLOCK)
                return fail_kind(item, "among member blocks");
            start_line();
            name(item);
            write(":\n");
            ++indent_;
            declarations(item->first_child);
            --indent_;
        }
        start_line();
        write("}");
        if (const St_node* annotations = node->find_child(NODE_ANNOTATION_BLOCK)) {
            write(" ");
            annotation_block(annotations);
        }
        write(";\n");
    }

    // enum Name { A, B = 2 };
    void enum_declaration(const St_node* node)
    {
        start_line();
        write("enum ");
        name(node);
        write(" { ");
        for (const St_node* member = node->first_child; member && error_.empty(); member = member->next_sibling) {
            name(member);
            if (member->first_child) {
                write(" = ");
                expression(member->first_child, LEVEL_PRIMARY);
            }
            if (member->next_sibling)
                write(", ");
        }
        write(" };\n");
    }

    // Statements

    void block(const St_node* node)
    {
        start_line();
        write("{\n");
        ++indent_;
        statements(node->first_child);
        --indent_;
        start_line();
        write("}\n");
    }

    void statements(const St_node* first)
    {
        for (const St_node* item = first; item && error_.empty(); item = item->next_sibling)
            statement(item);
    }

    // The body of an if or a loop: a block where it stands, a single statement one step in.
    void body(const St_node* node)
    {
        if (!node)
            return fail("a statement lacks its body");
        if (node->kind == NODE_STATEMENT_BLOCK)
            return block(node);
        ++indent_;
        statement(node);
        --indent_;
    }

    void statement(const St_node* node)
    {
        Level_guard guard(*this);
        if (!guard.ok())
            return;
        const St_node* first = node->first_child;
        switch (node->kind) {
        case NODE_STATEMENT_BLOCK:
            block(node);
            break;
        case NODE_EXPRESSION_STATEMENT:
            start_line();
            if (first)
                expression(first, LEVEL_COMMA);
            write(";\n");
            break;
        case NODE_CONDITION_STATEMENT:
            if_statement(node);
            break;
        case NODE_WHILE_STATEMENT:
            start_line();
            write("while (");
            condition(first);
            write(")\n");
            body(first ? first->next_sibling : nullptr);
            break;
        case NODE_DO_STATEMENT:
            start_line();
            write("do\n");
            body(first);
            start_line();
            write("while (");
            expression(first ? first->next_sibling : nullptr, LEVEL_COMMA);
            write(");\n");
            break;
        case NODE_FOR_STATEMENT:
            for_statement(node);
            break;
        case NODE_FOREACH_STATEMENT:
            start_line();
            write("foreach (");
            expression(first, LEVEL_COMMA);
            write(")\n");
            body(first ? first->next_sibling : nullptr);
            break;
        case NODE_JUMP_STATEMENT:
            start_line();
            name(node);
            if (first) {
                write(" ");
                expression(first, LEVEL_COMMA);
            }
            write(";\n");
            break;
        case NODE_SWITCH_STATEMENT:
            switch_statement(node);
            break;
        case NODE_NO_OP:
            break;
        default:
            if (is_declaration(node))
                declaration(node);
            else
                fail_kind(node, "as a statement");
            break;
        }
    }

    // An else that holds another if prints as "else if", along the chain without nesting.
    void if_statement(const St_node* node)
    {
        start_line();
        for (;;) {
            const St_node* test = node->first_child;
            const St_node* then = test ? test->next_sibling : nullptr;
            const St_node* otherwise = then ? then->next_sibling : nullptr;
            write("if (");
            expression(test, LEVEL_COMMA);
            write(")\n");
            if (otherwise && then && then->kind != NODE_STATEMENT_BLOCK && ends_in_open_if(then)) {
                start_line();
                write("{\n");
                body(then);
                start_line();
                write("}\n");
            } else {
                body(then);
            }
            if (!otherwise || !error_.empty())
                return;
            start_line();
            write("else");
            if (otherwise->kind != NODE_CONDITION_STATEMENT) {
                write("\n");
                return body(otherwise);
            }
            write(" ");
            node = otherwise;
        }
    }

    // for (init; test; step): each part only when the tree holds it.
    void for_statement(const St_node* node)
    {
        const St_node* init = node->find_child(NODE_FOR_INIT);
        const St_node* test = node->find_child(NODE_FOR_CONDITION);
        const St_node* step = node->find_child(NODE_FOR_EXPRESSION);
        const St_node* loop_body = nullptr;
        for (const St_node* part = node->first_child; part; part = part->next_sibling)
            if (part != init && part != test && part != step)
                loop_body = part;
        start_line();
        write("for (");
        if (init)
            condition(init->first_child);
        write("; ");
        if (test)
            condition(test->first_child);
        write("; ");
        if (step)
            expression(step->first_child, LEVEL_COMMA);
        write(")\n");
        body(loop_body);
    }

    // An expression, or "Type name = value".
    void condition(const St_node* node)
    {
        if (node && node->kind == NODE_VARIABLE_DECLARATION)
            return variable_declaration(node);
        if (!node || node->kind != NODE_CONDITION)
            return expression(node, LEVEL_COMMA);
        const St_node* first = node->first_child;
        if (node->text_view() != "declaration")
            return expression(first, LEVEL_COMMA);
        type_specifier(first);
        const St_node* declared = first ? first->next_sibling : nullptr;
        write(" ");
        name(declared);
        write(" = ");
        expression(declared ? declared->next_sibling : nullptr, LEVEL_COMMA);
    }

    // The statements of a label stand under it, not in a block of their own.
    void switch_statement(const St_node* node)
    {
        start_line();
        write("switch (");
        expression(node->first_child, LEVEL_ASSIGNMENT);
        write(")\n");
        start_line();
        write("{\n");
        for (const St_node* label = node->first_child ? node->first_child->next_sibling : nullptr;
             label && error_.empty(); label = label->next_sibling) {
            start_line();
            const St_node* part = label->first_child;
            if (label->kind == NODE_SWITCH_CASE) {
                write("case ");
                expression(part, LEVEL_UNARY);
                part = part ? part->next_sibling : nullptr;
            } else if (label->kind == NODE_SWITCH_DEFAULT) {
                write("default");
            } else {
                return fail_kind(label, "among switch labels");
            }
            write(":\n");
            ++indent_;
            statements(part && part->kind == NODE_STATEMENT_BLOCK ? part->first_child : part);
            --indent_;
        }
        start_line();
        write("}\n");
    }

    // Expressions

    // The node, in parentheses when it binds weaker than its place asks.
    void expression(const St_node* node, int32_t least_level)
    {
        if (!node)
            return fail("an expression is missing");
        Level_guard guard(*this);
        if (!guard.ok())
            return;
        bool wrap = level_of(node) < least_level;
        if (wrap)
            write("(");
        bare_expression(node);
        if (wrap)
            write(")");
    }

    void bare_expression(const St_node* node)
    {
        const St_node* first = node->first_child;
        const St_node* second = first ? first->next_sibling : nullptr;
        switch (node->kind) {
        case NODE_EXPRESSION_LIST:
            list(first, LEVEL_ASSIGNMENT);
            break;
        case NODE_CONDITIONAL_EXPRESSION:
            expression(first, LEVEL_OR);
            write(" ? ");
            expression(second, LEVEL_COMMA);
            write(" : ");
            expression(second ? second->next_sibling : nullptr, LEVEL_CONDITIONAL);
            break;
        case NODE_ASSIGNMENT_EXPRESSION:
        case NODE_OR_EXPRESSION:
        case NODE_XOR_EXPRESSION:
        case NODE_AND_EXPRESSION:
        case NODE_EQUALITY_EXPRESSION:
        case NODE_RELATIONAL_EXPRESSION:
        case NODE_ADDITIVE_EXPRESSION:
        case NODE_MULTIPLICATIVE_EXPRESSION:
            binary_chain(node);
            break;
        case NODE_CAST_EXPRESSION:
            write("(");
            type_specifier(first);
            write(")");
            expression(second, LEVEL_UNARY);
            break;
        // A sign over a sign or a cast keeps its parentheses: "- -x" must not read as "--x".
        case NODE_PRE_INCREMENT_EXPRESSION:
        case NODE_PRE_DECREMENT_EXPRESSION:
            write(node->kind == NODE_PRE_INCREMENT_EXPRESSION ? "++" : "--");
            expression(first, LEVEL_POSTFIX);
            break;
        case NODE_UNARY_EXPRESSION:
            name(node);
            expression(first, LEVEL_POSTFIX);
            break;
        case NODE_POST_INCREMENT_EXPRESSION:
        case NODE_POST_DECREMENT_EXPRESSION:
            postfix_object(first);
            write(node->kind == NODE_POST_INCREMENT_EXPRESSION ? "++" : "--");
            break;
        case NODE_CLASS_MEMBER_REF_EXPRESSION:
            member_access(node);
            break;
        case NODE_ARRAY_INDEX_EXPRESSION:
            postfix_object(first);
            write("[");
            expression(second, LEVEL_COMMA);
            write("]");
            break;
        case NODE_FUNCTION_CALL_EXPRESSION:
        case NODE_METHOD_CALL_EXPRESSION:
            call(own_name(node->text_view()), node);
            break;
        case NODE_STATE_FUNCTION_REFERENCE:
            call(state_name(node, state_function_table, STATE_FUNCTION_COUNT), node);
            break;
        case NODE_CONSTRUCTOR_CALL_EXPRESSION:
            type_specifier(first);
            write("(");
            arguments(node->find_child(NODE_FUNCTION_CALL_PARAMETERS));
            write(")");
            break;
        case NODE_STATE_VARIABLE_REFERENCE:
            write(state_name(node, state_variable_table, STATE_VARIABLE_COUNT));
            break;
        case NODE_STRING_CONSTANT:
            if (!writable_string(node->text_view()))
                return fail("a string holds a quote, a line end or a control byte that a source cannot hold");
            write("\"");
            write(node->text_view());
            write("\"");
            break;
        case NODE_INT_CONSTANT:
        case NODE_HEX_CONSTANT:
        case NODE_OCT_CONSTANT:
        case NODE_FLOAT_CONSTANT:
        case NODE_BOOL_CONSTANT:
        case NODE_VARIABLE_ID:
        case NODE_MEMBER_VARIABLE_ID:
        case NODE_IDENTIFIER:
            name(node);
            break;
        case NODE_ARRAY_INITIALIZER:
            write("{");
            list(first, LEVEL_ASSIGNMENT);
            write("}");
            break;
        case NODE_FUNCTION_CALL_PARAMETERS:
            arguments(node);
            break;
        default:
            fail_kind(node, "in an expression");
            break;
        }
    }

    // a op b op c: the grammar nests such a chain down its left side, so the walk goes down
    // that side in a loop and prints back up, each right side one level tighter.
    void binary_chain(const St_node* top)
    {
        int32_t level = level_of(top);
        std::vector<const St_node*> spine{top};
        for (const St_node* left = top->first_child; left && left->kind == top->kind && builds_from_left(left);
             left = left->first_child)
            spine.push_back(left);
        // An assignment's right side is a conditional, any other's the next level up.
        int32_t right_level = level == LEVEL_ASSIGNMENT ? LEVEL_CONDITIONAL : level + 1;
        expression(spine.back()->first_child, level);
        for (auto it = spine.rbegin(); it != spine.rend() && error_.empty(); ++it) {
            const St_node* node = *it;
            write(" ");
            write(node->has_text() ? node->text_view() : std::string_view(default_operator(node->kind)));
            write(" ");
            expression(node->first_child ? node->first_child->next_sibling : nullptr, right_level);
        }
    }

    // A number before a dot would read as part of the number.
    void postfix_object(const St_node* object)
    {
        if (object && is_number(object)) {
            write("(");
            expression(object, LEVEL_COMMA);
            write(")");
            return;
        }
        expression(object, LEVEL_POSTFIX);
    }

    // object.member, object.method(arguments)
    void member_access(const St_node* node)
    {
        postfix_object(node->first_child);
        for (const St_node* selector = node->first_child ? node->first_child->next_sibling : nullptr;
             selector && error_.empty(); selector = selector->next_sibling) {
            write(".");
            if (selector->kind == NODE_FUNCTION_CALL_EXPRESSION)
                expression(selector, LEVEL_PRIMARY);
            else if (selector->kind == NODE_MEMBER_VARIABLE_ID || selector->kind == NODE_VARIABLE_ID)
                name(selector);
            else
                fail_kind(selector, "as a member selector");
        }
    }

    // The passes name a call of a class's own method "Class::method"; the source says "method".
    static std::string_view own_name(std::string_view name)
    {
        size_t scope = name.rfind("::");
        return scope == std::string_view::npos ? name : name.substr(scope + 2);
    }

    std::string_view state_name(const St_node* node, const State_entry* table, int32_t count)
    {
        int32_t index = -1;
        if (node->text && node->text_size == int32_t(sizeof index))
            std::memcpy(&index, node->text, sizeof index);
        if (index < 0 || index >= count) {
            fail("a state reference holds no known state number");
            return std::string_view();
        }
        return table[index].name;
    }

    void call(std::string_view callee, const St_node* node)
    {
        if (callee.empty())
            return fail("a call has no name");
        write(callee);
        write("(");
        arguments(node->find_child(NODE_FUNCTION_CALL_PARAMETERS));
        write(")");
    }

    void arguments(const St_node* list_node)
    {
        if (list_node)
            list(list_node->first_child, LEVEL_ASSIGNMENT);
    }

    void list(const St_node* first, int32_t level)
    {
        for (const St_node* item = first; item && error_.empty(); item = item->next_sibling) {
            expression(item, level);
            if (item->next_sibling)
                write(", ");
        }
    }

    std::string& out_;
    int32_t indent_ = 0;
    int32_t depth_ = 0;
};

}  // namespace

bool print_source(const St_node* node, std::string& out, std::string* error)
{
    Source_printer printer(out);
    bool printed = printer.run(node);
    if (error)
        *error = printer.error_;
    return printed;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

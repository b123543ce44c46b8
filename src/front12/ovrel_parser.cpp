#include "front12/ovrel_parser.h"

#include <utility>
#include <vector>

#include "front12/ovrel_lexer.h"
#include "front12/ovrel_preprocessor.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/node_arena.h"

namespace QZ {
namespace FRONT12 {

using SYNTAX_TREE::Error_list;
using SYNTAX_TREE::List_builder;
using SYNTAX_TREE::St_node;

namespace {

using Node_ptr = std::unique_ptr<St_node>;

// The arena that an include directive offers to the parse of the file it includes, on this
// thread, for the time of the include hook's call.
thread_local SYNTAX_TREE::Node_arena* include_arena = nullptr;

// Sets the offer for as long as it lives.
struct Include_offer {
    SYNTAX_TREE::Node_arena* saved = include_arena;
    explicit Include_offer(SYNTAX_TREE::Node_arena* arena) { include_arena = arena; }
    ~Include_offer() { include_arena = saved; }
};

// Takes the offer, so that no parse nested deeper takes it too, and puts it back at the end.
struct Offered_arena {
    SYNTAX_TREE::Node_arena* arena = include_arena;
    Offered_arena() { include_arena = nullptr; }
    ~Offered_arena() { include_arena = arena; }
};

// Ends a trial parse; nothing is reported.
struct Trial_failed {};

// A syntax error outside a trial parse, caught by the nearest rule that recovers.
struct Syntax_error {
    Token token;
    std::string message;
};

// ---------------------------------------------------------------------------------------------
// Token classes

bool is_storage_word(int32_t type) { return type >= TOKEN_AUTO && type <= TOKEN_GLOBAL; }

bool is_builtin_type(int32_t type) { return type >= FIRST_TYPE_TOKEN && type <= LAST_TYPE_TOKEN; }

// "auto" ... "Texture_cube": storage words, `::`, IDENTIFIER and the builtin type words.
bool in_declaration_range(int32_t type) { return type >= TOKEN_AUTO && type <= TOKEN_TEXTURE_CUBE; }

bool starts_type(int32_t type) { return type == TOKEN_SCOPE || type == TOKEN_IDENTIFIER || is_builtin_type(type); }

bool is_class_key(int32_t type) { return type >= TOKEN_CLASS && type <= TOKEN_BRDF; }

bool is_constant(int32_t type)
{
    return (type >= TOKEN_INT_CONSTANT && type <= TOKEN_FALSE) || type == TOKEN_STRING_CONSTANT;
}

bool is_block_label(int32_t type)
{
    return type == TOKEN_PUBLIC || type == TOKEN_PRIVATE || type == TOKEN_PROTECTED || type == TOKEN_IDENTIFIER;
}

bool is_assignment_operator(int32_t type)
{
    return type == TOKEN_ASSIGN || type == TOKEN_DIV_ASSIGN || type == TOKEN_PLUS_ASSIGN ||
           type == TOKEN_MINUS_ASSIGN || type == TOKEN_STAR_ASSIGN;
}

bool is_prefix_operator(int32_t type)
{
    return type == TOKEN_INCREMENT || type == TOKEN_DECREMENT || type == TOKEN_PLUS || type == TOKEN_MINUS ||
           type == TOKEN_NOT;
}

// operator_name: '=' '/' '/=' '+' '+=' '-' '-=' '*' '*=' '?' '==' '!=' '<=' '<' '>=' '>' '&&' '!'
//                '||' '^^' '++' '--'
bool is_operator_name(int32_t type)
{
    return type == TOKEN_ASSIGN || (type >= TOKEN_DIV && type <= TOKEN_DECREMENT);
}

bool starts_unary(int32_t type) { return is_prefix_operator(type) || type == TOKEN_LPAREN || is_constant(type) || starts_type(type); }

bool starts_declaration(int32_t type)
{
    return type == TOKEN_DEFAULT || is_class_key(type) || type == TOKEN_ENUM || type == TOKEN_NATIVE ||
           in_declaration_range(type);
}

bool is_statement_keyword(int32_t type)
{
    return (type >= TOKEN_IF && type <= TOKEN_CASE && type != TOKEN_ELSE) || type == TOKEN_DEFAULT;
}

bool starts_statement(int32_t type)
{
    return (type >= TOKEN_IF && type <= TOKEN_SWITCH && type != TOKEN_ELSE) || type == TOKEN_SEMICOLON ||
           is_storage_word(type) || starts_unary(type);
}

// The binary operators from `||` to `*` `/` as one precedence table; a higher level binds
// more strongly, 0 is no binary operator. All levels group to the left.
struct Binary_operator {
    int32_t level;
    int32_t kind;
};

Binary_operator binary_operator(int32_t type)
{
    switch (type) {
    case TOKEN_OR: return {1, SYNTAX_TREE::NODE_OR_EXPRESSION};
    case TOKEN_XOR: return {2, SYNTAX_TREE::NODE_XOR_EXPRESSION};
    case TOKEN_AND: return {3, SYNTAX_TREE::NODE_AND_EXPRESSION};
    case TOKEN_EQUAL:
    case TOKEN_NOT_EQUAL: return {4, SYNTAX_TREE::NODE_EQUALITY_EXPRESSION};
    case TOKEN_GREATER:
    case TOKEN_GREATER_EQUAL:
    case TOKEN_LESS:
    case TOKEN_LESS_EQUAL: return {5, SYNTAX_TREE::NODE_RELATIONAL_EXPRESSION};
    case TOKEN_PLUS:
    case TOKEN_MINUS: return {6, SYNTAX_TREE::NODE_ADDITIVE_EXPRESSION};
    case TOKEN_STAR:
    case TOKEN_DIV: return {7, SYNTAX_TREE::NODE_MULTIPLICATIVE_EXPRESSION};
    default: return {0, 0};
    }
}

int32_t constant_kind(int32_t type)
{
    switch (type) {
    case TOKEN_INT_CONSTANT: return SYNTAX_TREE::NODE_INT_CONSTANT;
    case TOKEN_HEX_INT_CONSTANT: return SYNTAX_TREE::NODE_HEX_CONSTANT;
    case TOKEN_OCT_INT_CONSTANT: return SYNTAX_TREE::NODE_OCT_CONSTANT;
    case TOKEN_FLOAT_CONSTANT: return SYNTAX_TREE::NODE_FLOAT_CONSTANT;
    case TOKEN_TRUE:
    case TOKEN_FALSE: return SYNTAX_TREE::NODE_BOOL_CONSTANT;
    default: return SYNTAX_TREE::NODE_STRING_CONSTANT;
    }
}

// How a token shows in a message.
std::string describe(const Token& token)
{
    if (token.type == TOKEN_EOF)
        return "end of file";
    constexpr size_t longest = 40;
    std::string text(token.text.substr(0, longest));
    if (token.text.size() > longest)
        text += "...";
    return "'" + text + "'";
}

// The file name between the angle brackets of an INCLUDE or IMPORT token.
std::string bracketed_name(std::string_view text)
{
    size_t open = text.find('<');
    if (open == std::string_view::npos)
        return std::string();
    size_t close = text.find('>', open + 1);
    if (close == std::string_view::npos)
        close = text.size();
    return std::string(text.substr(open + 1, close - open - 1));
}

// The first node below root (root at depth 0) deeper than limit, or null.
const St_node* too_deep(const St_node* root, int32_t limit)
{
    std::vector<std::pair<const St_node*, int32_t>> pending;
    if (root->first_child)
        pending.emplace_back(root->first_child, 1);
    while (!pending.empty()) {
        auto [node, depth] = pending.back();
        pending.pop_back();
        if (depth > limit)
            return node;
        if (node->next_sibling)
            pending.emplace_back(node->next_sibling, depth);
        if (node->first_child)
            pending.emplace_back(node->first_child, depth + 1);
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// The tokens seen so far, so that trial parses can look ahead and rewind. Outside trials the
// consumed tokens are dropped from time to time, so a long file does not stay in memory.
class Token_buffer {
public:
    struct Mark {
        size_t index;
        int32_t braces;
        int32_t parens;
    };

    // Bits of the trials that have failed at a token: the result of a trial depends only on
    // the tokens from there on, so a failure need not be found twice.
    enum Trial_bit : uint8_t {
        CAST_FAILED = 1,
        CONSTRUCTOR_FAILED = 2,
    };

    explicit Token_buffer(Token_stream& source) : source_(source) {}

    const Token& peek(size_t k = 0)
    {
        while (pos_ + k >= tokens_.size())
            fill();
        return tokens_[pos_ + k];
    }

    int32_t type(size_t k = 0) { return peek(k).type; }

    Token consume(bool may_release)
    {
        Token token = peek();
        ++pos_;
        switch (token.type) {
        case TOKEN_LBRACE: ++braces_; break;
        case TOKEN_RBRACE: --braces_; break;
        case TOKEN_LPAREN:
        case TOKEN_LBRACKET: ++parens_; break;
        case TOKEN_RPAREN:
        case TOKEN_RBRACKET: --parens_; break;
        default: break;
        }
        if (may_release && pos_ >= release_threshold)
            release_consumed();
        return token;
    }

    uint8_t& trial_bits()
    {
        peek();
        return trial_bits_[pos_];
    }

    Mark mark() const { return {pos_, braces_, parens_}; }

    void rewind(const Mark& mark)
    {
        pos_ = mark.index;
        braces_ = mark.braces;
        parens_ = mark.parens;
    }

    // Counts every token ever consumed; never goes back except by rewind.
    uint64_t position() const { return base_ + pos_; }
    // Brackets opened and not yet closed by the consumed tokens.
    int32_t braces() const { return braces_; }
    int32_t parens() const { return parens_; }

private:
    static constexpr size_t release_threshold = 4096;

    void fill()
    {
        Token token = ended_ ? end_ : source_.next_token();
        if (!ended_ && (token.type == TOKEN_EOF || token.type == TOKEN_INVALID)) {
            token.type = TOKEN_EOF;
            token.text = std::string_view();
            ended_ = true;
            end_ = token;
        }
        tokens_.push_back(token);
        trial_bits_.push_back(0);
    }

    void release_consumed()
    {
        tokens_.erase(tokens_.begin(), tokens_.begin() + std::ptrdiff_t(pos_));
        trial_bits_.erase(trial_bits_.begin(), trial_bits_.begin() + std::ptrdiff_t(pos_));
        base_ += pos_;
        pos_ = 0;
    }

    Token_stream& source_;
    std::vector<Token> tokens_;
    std::vector<uint8_t> trial_bits_;
    size_t pos_ = 0;
    uint64_t base_ = 0;
    int32_t braces_ = 0;
    int32_t parens_ = 0;
    bool ended_ = false;
    Token end_;
};

}  // namespace

// =============================================================================================
class Ovrel_parser::Impl {
public:
    Impl(Token_stream& tokens, const std::string& file_name, Error_list& errors)
        : tokens_(tokens), file_(SYNTAX_TREE::make_file_name(file_name)), errors_(errors)
    {
    }

    St_node* parse_translation_unit();
    St_node* parse_expression();

    Include_hook include_hook;
    bool tree_arena = false;

private:
    // Where a recovering rule started, to skip over what it opened.
    struct Recovery_point {
        uint64_t position;
        int32_t braces;
        int32_t parens;
        bool in_for_header;  // a `for` statement: its header holds `;` inside parentheses
    };

    enum class Recovery { STATEMENT, DECLARATION };

    // Counts one level of nesting for as long as it lives.
    class Nesting_guard {
    public:
        explicit Nesting_guard(Impl& parser) : parser_(parser)
        {
            // Also inside a trial: the other reading would only meet the limit again, with a
            // message that hides the cause.
            if (++parser_.nesting_ > NESTING_LIMIT) {
                --parser_.nesting_;
                throw Syntax_error{parser_.la(),
                                   "nesting too deep: more than " + std::to_string(NESTING_LIMIT) + " levels"};
            }
        }
        ~Nesting_guard() { --parser_.nesting_; }
        Nesting_guard(const Nesting_guard&) = delete;
        Nesting_guard& operator=(const Nesting_guard&) = delete;

    private:
        Impl& parser_;
    };

    // Token access
    const Token& la(size_t k = 0) { return tokens_.peek(k); }
    int32_t la_type(size_t k = 0) { return tokens_.type(k); }
    bool at(int32_t type) { return tokens_.type() == type; }
    Token consume() { return tokens_.consume(trial_depth_ == 0); }
    Token expect(int32_t type, const char* expected);
    size_t scan_type(size_t k);
    // Cheap look-ahead checks that rule out a trial parse which cannot succeed, so that the
    // common shapes (function definitions, declaring conditions) cost no failed trial.
    bool may_be_prototype();
    bool may_be_variable_declaration(size_t after_name);
    size_t scan_variable_start();

    // Errors
    [[noreturn]] void fail(const char* expected);
    std::string unexpected(const char* expected);
    void report(const Token& token, const std::string& message);
    void report(const Syntax_error& error) { report(error.token, error.message); }
    void report_here(const char* expected);
    Recovery_point here() { return {tokens_.position(), tokens_.braces(), tokens_.parens(), at(TOKEN_FOR)}; }
    void recover(const Recovery_point& start, Recovery mode);
    Node_ptr checked_depth(Node_ptr tree);

    // A trial parse: the rule's tree, or null with the input rewound. A failure found before is
    // not tried again when memo_bit names the trial.
    template <typename Rule>
    Node_ptr attempt(Rule rule, uint8_t memo_bit = 0);

    // Nodes
    Node_ptr make(int32_t kind, const Token& at);
    Node_ptr make(int32_t kind, const Token& at, std::string_view text);
    // A node over two operands; an operator node takes the operator as its text.
    Node_ptr make_pair(int32_t kind, const Token& at, Node_ptr left, Node_ptr right);
    Node_ptr make_operator(int32_t kind, const Token& op, Node_ptr left, Node_ptr right);
    // Items after the first, each after a comma.
    void more_items(List_builder& list, Node_ptr (Impl::*item)());

    // Declarations
    St_node* translation_unit();
    void include_directive(Node_ptr& list, List_builder*& children, std::unique_ptr<List_builder>& storage);
    Node_ptr declaration_with_recovery();
    Node_ptr external_declaration();
    Node_ptr variable_declaration();
    Node_ptr variable_specifiers();
    Node_ptr type_specifier();
    Node_ptr init_identifier_list();
    Node_ptr init_identifier();
    Node_ptr array_specifier();
    Node_ptr array_initializer();
    Node_ptr annotation_block();
    Node_ptr function_prototype();
    Node_ptr function_header();
    Node_ptr function_declarator();
    Node_ptr parameter_list();
    Node_ptr parameter();
    Node_ptr function_definition();
    Node_ptr class_declaration();
    void member_blocks(St_node* list);
    Node_ptr enum_declaration();
    Node_ptr enum_member();
    void expect_closing_semicolon(const char* what);

    // Statements
    Node_ptr compound_statement();
    void statement_list(List_builder& statements);
    Node_ptr statement_or_block();
    Node_ptr statement();
    Node_ptr if_statement();
    Node_ptr expression_statement();
    Node_ptr jump_statement();
    Node_ptr foreach_statement();
    Node_ptr for_statement();
    Node_ptr do_statement();
    Node_ptr while_statement();
    Node_ptr condition();
    Node_ptr switch_statement();
    Node_ptr switch_label();
    Node_ptr case_constant();

    // Expressions
    Node_ptr expression();
    Node_ptr assignment();
    Node_ptr conditional();
    Node_ptr binary(int32_t min_level);
    Node_ptr cast();
    Node_ptr cast_expression();
    Node_ptr unary();
    Node_ptr postfix();
    Node_ptr member_selector();
    Node_ptr primary();
    Node_ptr function_call();
    Node_ptr constructor_call();
    Node_ptr call_parameters();
    Node_ptr constant();

    Token_buffer tokens_;
    SYNTAX_TREE::File_name file_;
    Error_list& errors_;
    int32_t trial_depth_ = 0;
    int32_t nesting_ = 0;
    // The arena of the tree being parsed, until the tree keeps it; null when the tree goes
    // into the arena of the parse that includes this file.
    std::unique_ptr<SYNTAX_TREE::Node_arena> arena_;
    SYNTAX_TREE::Node_arena* arena_used_ = nullptr;
};

// ---------------------------------------------------------------------------------------------
// Token access and errors

Token Ovrel_parser::Impl::expect(int32_t type, const char* expected)
{
    if (!at(type))
        fail(expected);
    return consume();
}

// The index after a type_specifier that starts at la(k), or 0 when none starts there. Follows
// type_specifier token for token, so that a trial need not be started when it must fail.
size_t Ovrel_parser::Impl::scan_type(size_t k)
{
    int32_t type = la_type(k);
    if (is_builtin_type(type))
        return k + 1;
    if (type == TOKEN_SCOPE) {
        if (la_type(k + 1) != TOKEN_IDENTIFIER)
            return 0;
        k += 2;
    } else if (type == TOKEN_IDENTIFIER) {
        k += 1;
    } else {
        return 0;
    }
    while (la_type(k) == TOKEN_SCOPE) {
        if (la_type(k + 1) != TOKEN_IDENTIFIER)
            return 0;
        k += 2;
    }
    return k;
}

// The index after [storage_class] type_specifier, or 0.
size_t Ovrel_parser::Impl::scan_variable_start()
{
    return scan_type(is_storage_word(la_type()) ? 1 : 0);
}

// `function_header ';'` needs a ';' right after the header's ')': its parameters hold no
// parentheses, so the first ')' after the first '(' ends it.
bool Ovrel_parser::Impl::may_be_prototype()
{
    size_t k = 0;
    for (;; ++k) {
        int32_t type = la_type(k);
        if (type == TOKEN_LPAREN)
            break;
        if (type == TOKEN_SEMICOLON || type == TOKEN_LBRACE || type == TOKEN_RBRACE || type == TOKEN_EOF)
            return false;
    }
    for (++k;; ++k) {
        int32_t type = la_type(k);
        if (type == TOKEN_RPAREN)
            return la_type(k + 1) == TOKEN_SEMICOLON;
        if (type == TOKEN_SEMICOLON || type == TOKEN_LBRACE || type == TOKEN_RBRACE || type == TOKEN_LPAREN ||
            type == TOKEN_EOF)
            return false;
    }
}

// A declaration whose name is followed by the constructor form "( ... )" goes on with ',' or
// ';', or with an annotation block, which starts with '}' or with a call. A function body that
// starts otherwise rules it out. Other shapes are left to the trial. The look-ahead stays
// within what any parse of the header reads, so that errors further on are met in order.
bool Ovrel_parser::Impl::may_be_variable_declaration(size_t after_name)
{
    if (la_type(after_name) != TOKEN_LPAREN)
        return true;
    size_t k = after_name + 1;
    for (int32_t depth = 1; depth > 0; ++k) {
        int32_t type = la_type(k);
        if (type == TOKEN_EOF || type == TOKEN_SEMICOLON || type == TOKEN_LBRACE || type == TOKEN_RBRACE)
            return true;
        depth += type == TOKEN_LPAREN ? 1 : type == TOKEN_RPAREN ? -1 : 0;
    }
    int32_t next = la_type(k);
    if (next != TOKEN_LBRACE)
        return next == TOKEN_COMMA || next == TOKEN_SEMICOLON;
    int32_t first = la_type(k + 1);
    return first == TOKEN_RBRACE || (first == TOKEN_IDENTIFIER && la_type(k + 2) == TOKEN_LPAREN);
}

void Ovrel_parser::Impl::fail(const char* expected)
{
    if (trial_depth_ > 0)
        throw Trial_failed{};
    throw Syntax_error{la(), unexpected(expected)};
}

std::string Ovrel_parser::Impl::unexpected(const char* expected)
{
    return "unexpected " + describe(la()) + ", expected " + expected;
}

void Ovrel_parser::Impl::report(const Token& token, const std::string& message)
{
    errors_.push_back(SYNTAX_TREE::make_error(token, SYNTAX_TREE::DIAG_SYNTAX_ERROR, message));
}

// Reports without unwinding, where the rule can go on by itself.
void Ovrel_parser::Impl::report_here(const char* expected)
{
    if (trial_depth_ > 0)
        throw Trial_failed{};
    report(la(), unexpected(expected));
}

// Skips what is left of a statement or declaration that failed: over balanced brackets up to
// and including a `;`, or up to a `}` that closes an enclosing block, or past a block that the
// failed part opened. A statement also stops before a word that starts the next statement.
// Braces count from the start of the failed part, since they carry the block structure;
// parentheses count from the error, so that a missing `)` doesn't swallow the next statements,
// except in a `for` statement, whose header holds two `;` of its own.
void Ovrel_parser::Impl::recover(const Recovery_point& start, Recovery mode)
{
    int32_t parens = start.in_for_header ? start.parens : tokens_.parens();
    // One token always goes when nothing was read, so that the calling loop moves on; but not
    // the `}` of the enclosing block.
    if (tokens_.position() == start.position && !at(TOKEN_EOF) &&
        !(at(TOKEN_RBRACE) && tokens_.braces() <= start.braces))
        consume();
    for (;;) {
        int32_t type = la_type();
        if (type == TOKEN_EOF)
            return;
        if (tokens_.braces() <= start.braces) {
            if (type == TOKEN_RBRACE)
                return;
            if (tokens_.parens() <= parens) {
                if (type == TOKEN_SEMICOLON) {
                    consume();
                    return;
                }
                if (mode == Recovery::STATEMENT && is_statement_keyword(type))
                    return;
                if (mode == Recovery::DECLARATION && (type == TOKEN_INCLUDE || type == TOKEN_IMPORT))
                    return;
            }
        }
        consume();
        if (type == TOKEN_RBRACE && tokens_.braces() == start.braces) {
            if (mode == Recovery::STATEMENT && at(TOKEN_ELSE))
                continue;
            if (mode == Recovery::DECLARATION && at(TOKEN_SEMICOLON))
                consume();
            return;
        }
    }
}

Node_ptr Ovrel_parser::Impl::checked_depth(Node_ptr tree)
{
    if (!tree)
        return tree;
    const St_node* deep = too_deep(tree.get(), TREE_DEPTH_LIMIT);
    if (!deep)
        return tree;
    Token position;
    position.line = deep->line;
    position.column = deep->column;
    report(position, "nesting too deep: the tree has more than " + std::to_string(TREE_DEPTH_LIMIT) + " levels");
    return nullptr;
}

template <typename Rule>
Node_ptr Ovrel_parser::Impl::attempt(Rule rule, uint8_t memo_bit)
{
    if (memo_bit && (tokens_.trial_bits() & memo_bit))
        return nullptr;
    Token_buffer::Mark mark = tokens_.mark();
    struct Trial_scope {
        int32_t& depth;
        explicit Trial_scope(int32_t& trial_depth) : depth(trial_depth) { ++depth; }
        ~Trial_scope() { --depth; }
    };
    try {
        Trial_scope scope(trial_depth_);
        return rule();
    } catch (const Trial_failed&) {
        tokens_.rewind(mark);
        if (memo_bit)
            tokens_.trial_bits() |= memo_bit;
        return nullptr;
    }
}

Node_ptr Ovrel_parser::Impl::make(int32_t kind, const Token& at)
{
    Node_ptr node(new (arena_used_) St_node(kind, file_));
    node->line = at.line;
    node->column = at.column;
    return node;
}

Node_ptr Ovrel_parser::Impl::make(int32_t kind, const Token& at, std::string_view text)
{
    Node_ptr node(new (arena_used_) St_node(kind, file_, text));
    node->line = at.line;
    node->column = at.column;
    return node;
}

Node_ptr Ovrel_parser::Impl::make_pair(int32_t kind, const Token& at, Node_ptr left, Node_ptr right)
{
    Node_ptr node = make(kind, at);
    node->first_child = left.release();
    node->first_child->next_sibling = right.release();
    return node;
}

Node_ptr Ovrel_parser::Impl::make_operator(int32_t kind, const Token& op, Node_ptr left, Node_ptr right)
{
    Node_ptr node = make(kind, op, op.text);
    node->first_child = left.release();
    node->first_child->next_sibling = right.release();
    return node;
}

// ---------------------------------------------------------------------------------------------
// Entry points

St_node* Ovrel_parser::Impl::parse_translation_unit()
{
    trial_depth_ = 0;
    nesting_ = 0;
    // A file included by a parse in an arena is parsed into that arena, since its
    // declarations join that tree: an arena of its own per inclusion would bring at least a
    // chunk each, and a file may be included thousands of times.
    Offered_arena offered;
    arena_.reset();
    arena_used_ = nullptr;
    if (offered.arena) {
        arena_used_ = offered.arena;
    } else if (tree_arena) {
        arena_ = std::make_unique<SYNTAX_TREE::Node_arena>();
        arena_used_ = arena_.get();
    }
    try {
        St_node* list = translation_unit();
        if (list && arena_ && SYNTAX_TREE::Node_arena::of(list) == arena_.get())
            arena_.release()->set_keeper(list);
        return list;
    } catch (const Recognition_error& error) {
        Token position;
        position.line = error.line();
        position.column = error.column();
        report(position, error.description());
        return nullptr;
    }
}

St_node* Ovrel_parser::Impl::parse_expression()
{
    trial_depth_ = 0;
    nesting_ = 0;
    try {
        Node_ptr value = expression();
        if (!at(TOKEN_EOF))
            fail("the end of the expression");
        return checked_depth(std::move(value)).release();
    } catch (const Syntax_error& error) {
        report(error);
    } catch (const Recognition_error& error) {
        Token position;
        position.line = error.line();
        position.column = error.column();
        report(position, error.description());
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Declarations

// translation_unit: (external_declaration | include_directive)* EOF
// The list is made with its first child. The loop ends silently at a token that can't start a
// declaration.
St_node* Ovrel_parser::Impl::translation_unit()
{
    Node_ptr list;
    std::unique_ptr<List_builder> storage;
    List_builder* children = nullptr;
    for (;;) {
        int32_t type = la_type();
        if (type == TOKEN_INCLUDE || type == TOKEN_IMPORT) {
            include_directive(list, children, storage);
            continue;
        }
        if (!starts_declaration(type))
            break;
        Token first = la();
        Node_ptr declaration = checked_depth(declaration_with_recovery());
        if (!declaration)
            continue;
        if (!list) {
            list = make(SYNTAX_TREE::NODE_DECLARATION_LIST, first);
            storage = std::make_unique<List_builder>(list.get());
            children = storage.get();
        }
        children->add(std::move(declaration));
    }
    return list.release();
}

// include_directive: INCLUDE | IMPORT
void Ovrel_parser::Impl::include_directive(Node_ptr& list, List_builder*& children,
                                           std::unique_ptr<List_builder>& storage)
{
    Token token = consume();
    std::string name = bracketed_name(token.text);
    Node_ptr added;
    if (token.type == TOKEN_IMPORT) {
        added = make(SYNTAX_TREE::NODE_IMPORT_DECLARATION, token, name);
    } else {
        if (!include_hook)
            return;
        Node_ptr included;
        {
            Include_offer offer(arena_used_);
            included.reset(include_hook(name, token));
        }
        if (!included || !included->first_child)
            return;
        // The included nodes join this tree, so they must be in its memory: a file parsed in
        // an arena of its own brings the arena along, and anything else is copied.
        SYNTAX_TREE::Node_arena* theirs = SYNTAX_TREE::Node_arena::of(included.get());
        if (theirs != arena_used_ && arena_used_ && theirs && theirs->keeper() == included.get()) {
            theirs->set_keeper(nullptr);
            arena_used_->absorb(std::unique_ptr<SYNTAX_TREE::Node_arena>(theirs));
            theirs = arena_used_;
        }
        if (theirs != arena_used_) {
            St_node* originals = included->first_child;
            included->first_child = nullptr;
            List_builder copies(included.get());
            for (St_node* each = originals; each; each = each->next_sibling)
                copies.add(each->clone(arena_used_));
            delete originals;
        }
        added.reset(included->first_child);
        included->first_child = nullptr;
    }
    if (!list) {
        list = make(SYNTAX_TREE::NODE_DECLARATION_LIST, token);
        storage = std::make_unique<List_builder>(list.get());
        children = storage.get();
    }
    children->add(std::move(added));
}

Node_ptr Ovrel_parser::Impl::declaration_with_recovery()
{
    Recovery_point start = here();
    try {
        return external_declaration();
    } catch (const Syntax_error& error) {
        report(error);
        recover(start, Recovery::DECLARATION);
        return nullptr;
    }
}

// external_declaration:
//     class_declaration
//   | enum_declaration
//   | (variable_declaration)=> variable_declaration
//   | (function_header ';')=> function_header ';'
//   | function_definition
Node_ptr Ovrel_parser::Impl::external_declaration()
{
    int32_t type = la_type();
    if (type == TOKEN_DEFAULT || is_class_key(type))
        return class_declaration();
    if (type == TOKEN_ENUM)
        return enum_declaration();
    if (in_declaration_range(type) && in_declaration_range(la_type(1))) {
        size_t after_type = scan_variable_start();
        if (after_type && la_type(after_type) == TOKEN_IDENTIFIER) {
            if (may_be_variable_declaration(after_type + 1))
                if (Node_ptr declaration = attempt([this] { return variable_declaration(); }))
                    return declaration;
            // No function can go on like this; parse again to report the declaration's error.
            int32_t next = la_type(after_type + 1);
            if (is_storage_word(type) || (next != TOKEN_LPAREN && next != TOKEN_SCOPE))
                return variable_declaration();
        }
    }
    if (may_be_prototype())
        if (Node_ptr prototype = attempt([this] { return function_prototype(); }))
            return prototype;
    return function_definition();
}

// variable_declaration: variable_specifiers init_identifier_list ';'
Node_ptr Ovrel_parser::Impl::variable_declaration()
{
    Node_ptr declaration = make(SYNTAX_TREE::NODE_VARIABLE_DECLARATION, la());
    List_builder children(declaration.get());
    children.add(variable_specifiers());
    children.add(init_identifier_list());
    expect(TOKEN_SEMICOLON, "';'");
    return declaration;
}

// variable_specifiers: [storage_class] type_specifier
// storage_class: "auto" | "register" | "static" | "extern" | "mutable" | "global"
Node_ptr Ovrel_parser::Impl::variable_specifiers()
{
    Node_ptr specifiers = make(SYNTAX_TREE::NODE_VARIABLE_SPECIFIERS, la());
    List_builder children(specifiers.get());
    if (is_storage_word(la_type())) {
        Token word = consume();
        children.add(make(SYNTAX_TREE::NODE_STORAGE_CLASS_SPECIFIER, word, word.text));
    }
    children.add(type_specifier());
    return specifiers;
}

// type_specifier:
//     '::' IDENTIFIER ('::' IDENTIFIER)*
//   | builtin_type
//   | IDENTIFIER '::' IDENTIFIER ('::' IDENTIFIER)*
//   | IDENTIFIER
Node_ptr Ovrel_parser::Impl::type_specifier()
{
    Token first = la();
    if (is_builtin_type(first.type)) {
        consume();
        return make(SYNTAX_TREE::NODE_SIMPLE_TYPE_SPECIFIER, first, first.text);
    }
    if (first.type != TOKEN_SCOPE && first.type != TOKEN_IDENTIFIER)
        fail("a type");
    consume();
    if (first.type == TOKEN_IDENTIFIER && !at(TOKEN_SCOPE))
        return make(SYNTAX_TREE::NODE_SIMPLE_TYPE_SPECIFIER, first, first.text);
    Node_ptr nested;
    if (first.type == TOKEN_SCOPE) {
        nested = make(SYNTAX_TREE::NODE_NESTED_TYPE_SPECIFIER, first, "global");
    } else {
        nested = make(SYNTAX_TREE::NODE_NESTED_TYPE_SPECIFIER, first);
        nested->add_child(make(SYNTAX_TREE::NODE_SIMPLE_TYPE_SPECIFIER, first, first.text).release());
    }
    List_builder names(nested.get());
    if (first.type == TOKEN_SCOPE) {
        Token name = expect(TOKEN_IDENTIFIER, "a type name");
        names.add(make(SYNTAX_TREE::NODE_IDENTIFIER, name, name.text));
    }
    while (at(TOKEN_SCOPE)) {
        consume();
        Token name = expect(TOKEN_IDENTIFIER, "a type name");
        names.add(make(SYNTAX_TREE::NODE_IDENTIFIER, name, name.text));
    }
    return nested;
}

void Ovrel_parser::Impl::more_items(List_builder& list, Node_ptr (Impl::*item)())
{
    while (at(TOKEN_COMMA)) {
        consume();
        list.add((this->*item)());
    }
}

// init_identifier_list: init_identifier (',' init_identifier)*
Node_ptr Ovrel_parser::Impl::init_identifier_list()
{
    Node_ptr list = make(SYNTAX_TREE::NODE_INIT_IDENTIFIER_LIST, la());
    List_builder children(list.get());
    children.add(init_identifier());
    more_items(children, &Impl::init_identifier);
    return list;
}

// init_identifier: IDENTIFIER [array_specifier]
//                  ['(' [call_parameters] ')' | '=' (assignment | array_initializer)]
//                  [annotation_block]
Node_ptr Ovrel_parser::Impl::init_identifier()
{
    Token name = expect(TOKEN_IDENTIFIER, "a name");
    Node_ptr identifier = make(SYNTAX_TREE::NODE_INIT_IDENTIFIER, name, name.text);
    List_builder children(identifier.get());
    if (at(TOKEN_LBRACKET))
        children.add(array_specifier());
    if (at(TOKEN_LPAREN)) {
        consume();
        if (!at(TOKEN_RPAREN))
            children.add(call_parameters());
        expect(TOKEN_RPAREN, "')'");
    } else if (at(TOKEN_ASSIGN)) {
        consume();
        children.add(at(TOKEN_LBRACE) ? array_initializer() : assignment());
    }
    if (at(TOKEN_LBRACE))
        children.add(annotation_block());
    return identifier;
}

// array_specifier: '[' [constant] ']'
Node_ptr Ovrel_parser::Impl::array_specifier()
{
    Token open = expect(TOKEN_LBRACKET, "'['");
    Node_ptr specifier = make(SYNTAX_TREE::NODE_ARRAY_SPECIFIER, open);
    if (is_constant(la_type()))
        specifier->add_child(constant().release());
    expect(TOKEN_RBRACKET, "a constant or ']'");
    return specifier;
}

// array_initializer: '{' assignment (',' assignment)* '}'
Node_ptr Ovrel_parser::Impl::array_initializer()
{
    Token open = expect(TOKEN_LBRACE, "'{'");
    Node_ptr initializer = make(SYNTAX_TREE::NODE_ARRAY_INITIALIZER, open);
    List_builder children(initializer.get());
    children.add(assignment());
    more_items(children, &Impl::assignment);
    expect(TOKEN_RBRACE, "',' or '}'");
    return initializer;
}

// annotation_block: '{' (annotation)* '}'
// annotation: function_call ';'
Node_ptr Ovrel_parser::Impl::annotation_block()
{
    Nesting_guard guard(*this);
    Token open = expect(TOKEN_LBRACE, "'{'");
    Node_ptr block = make(SYNTAX_TREE::NODE_ANNOTATION_BLOCK, open);
    List_builder children(block.get());
    while (at(TOKEN_IDENTIFIER)) {
        if (la_type(1) != TOKEN_LPAREN) {
            consume();
            fail("'('");
        }
        children.add(function_call());
        expect(TOKEN_SEMICOLON, "';'");
    }
    expect(TOKEN_RBRACE, "an annotation or '}'");
    return block;
}

// The trial of external_declaration: function_header ';'
Node_ptr Ovrel_parser::Impl::function_prototype()
{
    Node_ptr header = function_header();
    expect(TOKEN_SEMICOLON, "';'");
    return header;
}

// function_header: ["native"] type_specifier function_declarator '(' [parameter_list] ')'
Node_ptr Ovrel_parser::Impl::function_header()
{
    Token first = la();
    Node_ptr header;
    if (first.type == TOKEN_NATIVE) {
        consume();
        header = make(SYNTAX_TREE::NODE_FUNCTION_DECLARATION, first, first.text);
    } else {
        header = make(SYNTAX_TREE::NODE_FUNCTION_DECLARATION, first);
    }
    List_builder children(header.get());
    children.add(type_specifier());
    children.add(function_declarator());
    expect(TOKEN_LPAREN, "'('");
    if (!at(TOKEN_RPAREN))
        children.add(parameter_list());
    expect(TOKEN_RPAREN, "',' or ')'");
    return header;
}

// function_declarator:
//     "operator" operator_name
//   | builtin_type
//   | IDENTIFIER ('::' IDENTIFIER)*
Node_ptr Ovrel_parser::Impl::function_declarator()
{
    Token first = la();
    Node_ptr declarator = make(SYNTAX_TREE::NODE_FUNCTION_DECLARATOR, first);
    List_builder names(declarator.get());
    if (first.type == TOKEN_OPERATOR) {
        consume();
        if (!is_operator_name(la_type()))
            fail("an operator");
        Token name = consume();
        names.add(make(SYNTAX_TREE::NODE_IDENTIFIER, first, std::string(first.text) + std::string(name.text)));
        return declarator;
    }
    if (is_builtin_type(first.type)) {
        consume();
        names.add(make(SYNTAX_TREE::NODE_IDENTIFIER, first, first.text));
        return declarator;
    }
    Token name = expect(TOKEN_IDENTIFIER, "a function name");
    names.add(make(SYNTAX_TREE::NODE_IDENTIFIER, name, name.text));
    while (at(TOKEN_SCOPE)) {
        consume();
        name = expect(TOKEN_IDENTIFIER, "a name");
        names.add(make(SYNTAX_TREE::NODE_IDENTIFIER, name, name.text));
    }
    return declarator;
}

// parameter_list: parameter (',' parameter)*
Node_ptr Ovrel_parser::Impl::parameter_list()
{
    Node_ptr list = make(SYNTAX_TREE::NODE_FUNCTION_PARAMETER_LIST, la());
    List_builder children(list.get());
    children.add(parameter());
    more_items(children, &Impl::parameter);
    return list;
}

// parameter: [parameter_qualifier] type_specifier IDENTIFIER [array_specifier]
// parameter_qualifier: "in" | "out" | "inout"
Node_ptr Ovrel_parser::Impl::parameter()
{
    Node_ptr qualifier;
    if (at(TOKEN_IN) || at(TOKEN_OUT) || at(TOKEN_INOUT)) {
        Token word = consume();
        qualifier = make(SYNTAX_TREE::NODE_PARAMETER_QUALIFIER, word, word.text);
    }
    Node_ptr type = type_specifier();
    Token name = expect(TOKEN_IDENTIFIER, "a parameter name");
    Node_ptr result = make(SYNTAX_TREE::NODE_FUNCTION_PARAMETER, name, name.text);
    List_builder children(result.get());
    children.add(std::move(qualifier));
    children.add(std::move(type));
    if (at(TOKEN_LBRACKET))
        children.add(array_specifier());
    return result;
}

// function_definition: function_header compound_statement
Node_ptr Ovrel_parser::Impl::function_definition()
{
    Node_ptr definition = make(SYNTAX_TREE::NODE_FUNCTION_DEFINITION, la());
    List_builder children(definition.get());
    children.add(function_header());
    children.add(compound_statement());
    return definition;
}

// class_declaration: ["default"] class_key IDENTIFIER [':' IDENTIFIER ('::' qualified_name)*]
//                    '{' member_block* '}' [annotation_block] ';'
// class_key: "class" | "struct" | "union" | "shader" | "technique" | "brdf"
// qualified_name: IDENTIFIER ('::' IDENTIFIER)*
// Every name of the parent list is a parent of its own.
Node_ptr Ovrel_parser::Impl::class_declaration()
{
    Nesting_guard guard(*this);
    if (at(TOKEN_DEFAULT))
        consume();
    if (!is_class_key(la_type()))
        fail("a class key");
    Token key = consume();
    Node_ptr declaration = make(SYNTAX_TREE::NODE_CLASS_DECLARATION, key, key.text);
    List_builder children(declaration.get());
    Token name = expect(TOKEN_IDENTIFIER, "a class name");
    children.add(make(SYNTAX_TREE::NODE_IDENTIFIER, name, name.text));
    if (at(TOKEN_COLON)) {
        consume();
        Token parent = expect(TOKEN_IDENTIFIER, "a parent name");
        children.add(make(SYNTAX_TREE::NODE_CLASS_PARENT_SPECIFIER, parent, parent.text));
        while (at(TOKEN_SCOPE)) {
            consume();
            parent = expect(TOKEN_IDENTIFIER, "a parent name");
            children.add(make(SYNTAX_TREE::NODE_CLASS_PARENT_SPECIFIER, parent, parent.text));
        }
    }
    Token open = expect(TOKEN_LBRACE, at(TOKEN_COMMA) ? "'::' between parent names or '{'" : "'{'");
    Node_ptr blocks = make(SYNTAX_TREE::NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST, open);
    member_blocks(blocks.get());
    children.add(std::move(blocks));
    expect(TOKEN_RBRACE, "a member declaration or '}'");
    if (at(TOKEN_LBRACE))
        children.add(annotation_block());
    expect_closing_semicolon("';' after the class declaration");
    return declaration;
}

// member_block: external_declaration+ | block_label ':' external_declaration*
// block_label: "public" | "private" | "protected" | IDENTIFIER
// The members before the first label make a block "member".
void Ovrel_parser::Impl::member_blocks(St_node* list)
{
    List_builder blocks(list);
    Node_ptr block;
    std::unique_ptr<List_builder> members;
    for (;;) {
        int32_t type = la_type();
        if (type == TOKEN_RBRACE || type == TOKEN_EOF)
            break;
        if (is_block_label(type) && la_type(1) == TOKEN_COLON) {
            blocks.add(std::move(block));
            Token label = consume();
            consume();
            block = make(SYNTAX_TREE::NODE_CLASS_MEMBER_DECLARATION_BLOCK, label, label.text);
            members = std::make_unique<List_builder>(block.get());
            continue;
        }
        if (!starts_declaration(type)) {
            // Stray tokens: one report, then on at the next member, label or `}`.
            report_here("a member declaration or '}'");
            do
                consume();
            while (!at(TOKEN_RBRACE) && !at(TOKEN_EOF) && !starts_declaration(la_type()));
            continue;
        }
        if (!block) {
            block = make(SYNTAX_TREE::NODE_CLASS_MEMBER_DECLARATION_BLOCK, la(), "member");
            members = std::make_unique<List_builder>(block.get());
        }
        members->add(declaration_with_recovery());
    }
    blocks.add(std::move(block));
}

// enum_declaration: "enum" IDENTIFIER '{' enum_member (',' enum_member)* '}' ';'
Node_ptr Ovrel_parser::Impl::enum_declaration()
{
    expect(TOKEN_ENUM, "'enum'");
    Token name = expect(TOKEN_IDENTIFIER, "an enum name");
    Node_ptr declaration = make(SYNTAX_TREE::NODE_ENUM_DECLARATION, name, name.text);
    List_builder children(declaration.get());
    expect(TOKEN_LBRACE, "'{'");
    children.add(enum_member());
    more_items(children, &Impl::enum_member);
    expect(TOKEN_RBRACE, "',' or '}'");
    expect_closing_semicolon("';' after the enum declaration");
    return declaration;
}

// enum_member: IDENTIFIER ['=' constant]
Node_ptr Ovrel_parser::Impl::enum_member()
{
    Token name = expect(TOKEN_IDENTIFIER, "an enum member");
    Node_ptr member = make(SYNTAX_TREE::NODE_ENUM_MEMBER, name, name.text);
    if (at(TOKEN_ASSIGN)) {
        consume();
        if (!is_constant(la_type()))
            fail("a constant");
        member->add_child(constant().release());
    }
    return member;
}

// A missing `;` behind a class or enum is reported and the declaration kept, since what
// follows is most likely the next declaration.
void Ovrel_parser::Impl::expect_closing_semicolon(const char* what)
{
    if (at(TOKEN_SEMICOLON)) {
        consume();
        return;
    }
    report_here(what);
}

// ---------------------------------------------------------------------------------------------
// Statements

// compound_statement: '{' statement_list '}'
Node_ptr Ovrel_parser::Impl::compound_statement()
{
    Nesting_guard guard(*this);
    Token open = expect(TOKEN_LBRACE, "'{'");
    Node_ptr block = make(SYNTAX_TREE::NODE_STATEMENT_BLOCK, open);
    List_builder statements(block.get());
    for (;;) {
        statement_list(statements);
        if (at(TOKEN_RBRACE)) {
            consume();
            return block;
        }
        if (at(TOKEN_EOF))
            fail("'}'");
        Recovery_point start = here();
        report_here("a statement or '}'");
        recover(start, Recovery::STATEMENT);
    }
}

// statement_list: (statement_or_block)*
void Ovrel_parser::Impl::statement_list(List_builder& statements)
{
    while (at(TOKEN_LBRACE) || starts_statement(la_type()))
        statements.add(statement_or_block());
}

// statement_or_block: compound_statement | statement
Node_ptr Ovrel_parser::Impl::statement_or_block()
{
    Recovery_point start = here();
    try {
        if (at(TOKEN_LBRACE))
            return compound_statement();
        return statement();
    } catch (const Syntax_error& error) {
        report(error);
        recover(start, Recovery::STATEMENT);
        return nullptr;
    }
}

// statement:
//     if_statement
//   | iteration_statement
//   | jump_statement
//   | switch_statement
//   | (variable_declaration)=> variable_declaration
//   | expression_statement
Node_ptr Ovrel_parser::Impl::statement()
{
    switch (la_type()) {
    case TOKEN_IF: return if_statement();
    case TOKEN_FOREACH: return foreach_statement();
    case TOKEN_FOR: return for_statement();
    case TOKEN_DO: return do_statement();
    case TOKEN_WHILE: return while_statement();
    case TOKEN_CONTINUE:
    case TOKEN_BREAK:
    case TOKEN_RETURN: return jump_statement();
    case TOKEN_SWITCH: return switch_statement();
    default: break;
    }
    int32_t second = la_type(1);
    if (in_declaration_range(la_type()) && second >= TOKEN_SCOPE && second <= TOKEN_TEXTURE_CUBE) {
        size_t after_type = scan_variable_start();
        if (after_type && la_type(after_type) == TOKEN_IDENTIFIER) {
            if (Node_ptr declaration = attempt([this] { return variable_declaration(); }))
                return declaration;
            // No expression goes on like this; parse again to report the declaration's error.
            return variable_declaration();
        }
    }
    return expression_statement();
}

// if_statement: "if" '(' expression ')' statement_or_block ["else" statement_or_block]
Node_ptr Ovrel_parser::Impl::if_statement()
{
    Nesting_guard guard(*this);
    Token word = expect(TOKEN_IF, "'if'");
    Node_ptr statement_node = make(SYNTAX_TREE::NODE_CONDITION_STATEMENT, word);
    List_builder children(statement_node.get());
    expect(TOKEN_LPAREN, "'('");
    children.add(expression());
    expect(TOKEN_RPAREN, "')'");
    children.add(statement_or_block());
    if (at(TOKEN_ELSE)) {
        consume();
        children.add(statement_or_block());
    }
    return statement_node;
}

// expression_statement: [expression] ';'
Node_ptr Ovrel_parser::Impl::expression_statement()
{
    Node_ptr statement_node = make(SYNTAX_TREE::NODE_EXPRESSION_STATEMENT, la());
    if (!at(TOKEN_SEMICOLON))
        statement_node->add_child(expression().release());
    expect(TOKEN_SEMICOLON, "';'");
    return statement_node;
}

// jump_statement: "return" [expression] ';' | "break" ';' | "continue" ';'
Node_ptr Ovrel_parser::Impl::jump_statement()
{
    Token word = consume();
    Node_ptr statement_node = make(SYNTAX_TREE::NODE_JUMP_STATEMENT, word, word.text);
    if (word.type == TOKEN_RETURN && !at(TOKEN_SEMICOLON))
        statement_node->add_child(expression().release());
    expect(TOKEN_SEMICOLON, "';'");
    return statement_node;
}

// iteration_statement: "foreach" '(' expression ')' statement_or_block
Node_ptr Ovrel_parser::Impl::foreach_statement()
{
    Nesting_guard guard(*this);
    Token word = expect(TOKEN_FOREACH, "'foreach'");
    Node_ptr loop = make(SYNTAX_TREE::NODE_FOREACH_STATEMENT, word);
    List_builder children(loop.get());
    expect(TOKEN_LPAREN, "'('");
    children.add(expression());
    expect(TOKEN_RPAREN, "')'");
    children.add(statement_or_block());
    return loop;
}

// iteration_statement: "for" '(' [condition] ';' [condition] ';' [expression] ')' statement_or_block
// Each part that is written gets its wrapper node; a missing part gets none.
Node_ptr Ovrel_parser::Impl::for_statement()
{
    Nesting_guard guard(*this);
    Token word = expect(TOKEN_FOR, "'for'");
    Node_ptr loop = make(SYNTAX_TREE::NODE_FOR_STATEMENT, word);
    List_builder children(loop.get());
    expect(TOKEN_LPAREN, "'('");
    if (!at(TOKEN_SEMICOLON)) {
        Node_ptr init = make(SYNTAX_TREE::NODE_FOR_INIT, la());
        init->add_child(condition().release());
        children.add(std::move(init));
    }
    expect(TOKEN_SEMICOLON, "';'");
    if (!at(TOKEN_SEMICOLON)) {
        Node_ptr test = make(SYNTAX_TREE::NODE_FOR_CONDITION, la());
        test->add_child(condition().release());
        children.add(std::move(test));
    }
    expect(TOKEN_SEMICOLON, "';'");
    if (!at(TOKEN_RPAREN)) {
        Node_ptr step = make(SYNTAX_TREE::NODE_FOR_EXPRESSION, la());
        step->add_child(expression().release());
        children.add(std::move(step));
    }
    expect(TOKEN_RPAREN, "')'");
    children.add(statement_or_block());
    return loop;
}

// iteration_statement: "do" statement_or_block "while" '(' expression ')' ';'
Node_ptr Ovrel_parser::Impl::do_statement()
{
    Nesting_guard guard(*this);
    Token word = expect(TOKEN_DO, "'do'");
    Node_ptr loop = make(SYNTAX_TREE::NODE_DO_STATEMENT, word);
    List_builder children(loop.get());
    children.add(statement_or_block());
    expect(TOKEN_WHILE, "'while'");
    expect(TOKEN_LPAREN, "'('");
    children.add(expression());
    expect(TOKEN_RPAREN, "')'");
    expect(TOKEN_SEMICOLON, "';'");
    return loop;
}

// iteration_statement: "while" '(' condition ')' statement_or_block
Node_ptr Ovrel_parser::Impl::while_statement()
{
    Nesting_guard guard(*this);
    Token word = expect(TOKEN_WHILE, "'while'");
    Node_ptr loop = make(SYNTAX_TREE::NODE_WHILE_STATEMENT, word);
    List_builder children(loop.get());
    expect(TOKEN_LPAREN, "'('");
    children.add(condition());
    expect(TOKEN_RPAREN, "')'");
    children.add(statement_or_block());
    return loop;
}

// condition: (expression)=> expression | type_specifier IDENTIFIER '=' expression
// Only the expression is tried, not what follows it: with a user type name `foo i = 0` the
// trial takes `foo` as an expression and the `;` is then missing.
Node_ptr Ovrel_parser::Impl::condition()
{
    Token first = la();
    // A builtin type word followed by a name starts no expression.
    bool declares = is_builtin_type(la_type()) && la_type(1) == TOKEN_IDENTIFIER;
    if (Node_ptr value = declares ? nullptr : attempt([this] { return expression(); })) {
        Node_ptr result = make(SYNTAX_TREE::NODE_CONDITION, first, "expression");
        result->add_child(value.release());
        return result;
    }
    size_t after_type = scan_type(0);
    if (!after_type || la_type(after_type) != TOKEN_IDENTIFIER) {
        // No declaration either: the expression's own error says best what is wrong.
        Node_ptr value = expression();
        Node_ptr result = make(SYNTAX_TREE::NODE_CONDITION, first, "expression");
        result->add_child(value.release());
        return result;
    }
    Node_ptr result = make(SYNTAX_TREE::NODE_CONDITION, first, "declaration");
    List_builder children(result.get());
    children.add(type_specifier());
    Token name = expect(TOKEN_IDENTIFIER, "a name");
    children.add(make(SYNTAX_TREE::NODE_IDENTIFIER, name, name.text));
    expect(TOKEN_ASSIGN, "'='");
    children.add(expression());
    return result;
}

// switch_statement: "switch" '(' assignment ')' '{' switch_label+ '}'
Node_ptr Ovrel_parser::Impl::switch_statement()
{
    Nesting_guard guard(*this);
    Token word = expect(TOKEN_SWITCH, "'switch'");
    Node_ptr result = make(SYNTAX_TREE::NODE_SWITCH_STATEMENT, word);
    List_builder children(result.get());
    expect(TOKEN_LPAREN, "'('");
    children.add(assignment());
    expect(TOKEN_RPAREN, "')'");
    expect(TOKEN_LBRACE, "'{'");
    if (!at(TOKEN_CASE) && !at(TOKEN_DEFAULT))
        fail("'case' or 'default'");
    while (at(TOKEN_CASE) || at(TOKEN_DEFAULT))
        children.add(switch_label());
    expect(TOKEN_RBRACE, "a statement, 'case', 'default' or '}'");
    return result;
}

// switch_label: "case" case_constant ':' statement_list | "default" ':' statement_list
Node_ptr Ovrel_parser::Impl::switch_label()
{
    Token word = consume();
    bool is_case = word.type == TOKEN_CASE;
    Node_ptr label = make(is_case ? SYNTAX_TREE::NODE_SWITCH_CASE : SYNTAX_TREE::NODE_SWITCH_DEFAULT, word);
    List_builder children(label.get());
    if (is_case)
        children.add(case_constant());
    expect(TOKEN_COLON, "':'");
    Node_ptr block = make(SYNTAX_TREE::NODE_STATEMENT_BLOCK, la());
    List_builder statements(block.get());
    statement_list(statements);
    children.add(std::move(block));
    return label;
}

// case_constant: constant | IDENTIFIER (before ':') | IDENTIFIER '::' IDENTIFIER
//              | '-' constant | '+' constant
Node_ptr Ovrel_parser::Impl::case_constant()
{
    int32_t type = la_type();
    if (is_constant(type))
        return constant();
    if (type == TOKEN_IDENTIFIER && la_type(1) == TOKEN_COLON) {
        Token name = consume();
        return make(SYNTAX_TREE::NODE_VARIABLE_ID, name, name.text);
    }
    if (type == TOKEN_IDENTIFIER && la_type(1) == TOKEN_SCOPE && la_type(2) == TOKEN_IDENTIFIER) {
        Token name = consume();
        consume();
        Token member = consume();
        return make(SYNTAX_TREE::NODE_VARIABLE_ID, name, std::string(name.text) + "::" + std::string(member.text));
    }
    if ((type == TOKEN_MINUS || type == TOKEN_PLUS) && is_constant(la_type(1))) {
        Token sign = consume();
        Node_ptr value = constant();
        if (type == TOKEN_PLUS)
            return value;
        Node_ptr negation = make(SYNTAX_TREE::NODE_UNARY_EXPRESSION, sign, sign.text);
        negation->add_child(value.release());
        return negation;
    }
    fail("a case constant");
}

// ---------------------------------------------------------------------------------------------
// Expressions

// expression: assignment (',' assignment)*
Node_ptr Ovrel_parser::Impl::expression()
{
    Token first = la();
    Node_ptr item = assignment();
    if (!at(TOKEN_COMMA))
        return item;
    Node_ptr list = make(SYNTAX_TREE::NODE_EXPRESSION_LIST, first);
    List_builder items(list.get());
    items.add(std::move(item));
    more_items(items, &Impl::assignment);
    return list;
}

// assignment: conditional (assignment_operator conditional)*
// assignment_operator: '=' | '/=' | '+=' | '-=' | '*='
// Groups to the left: `a = b = c` is `(a = b) = c`.
Node_ptr Ovrel_parser::Impl::assignment()
{
    Nesting_guard guard(*this);
    Node_ptr left = conditional();
    while (is_assignment_operator(la_type())) {
        Token op = consume();
        Node_ptr right = conditional();
        left = make_operator(SYNTAX_TREE::NODE_ASSIGNMENT_EXPRESSION, op, std::move(left), std::move(right));
    }
    return left;
}

// conditional: or_expression ('?' expression ':' conditional)*
// The last operand is a conditional itself, which takes every further '?': the chain groups to
// the right and the loop runs at most once.
Node_ptr Ovrel_parser::Impl::conditional()
{
    Node_ptr test = binary(1);
    while (at(TOKEN_QUESTION)) {
        Token question = consume();
        Node_ptr chosen = expression();
        expect(TOKEN_COLON, "':'");
        Node_ptr other;
        {
            Nesting_guard guard(*this);
            other = conditional();
        }
        Node_ptr result = make(SYNTAX_TREE::NODE_CONDITIONAL_EXPRESSION, question, question.text);
        List_builder children(result.get());
        children.add(std::move(test));
        children.add(std::move(chosen));
        children.add(std::move(other));
        test = std::move(result);
    }
    return test;
}

// or_expression: xor_expression ('||' xor_expression)*
// xor_expression: and_expression ('^^' and_expression)*
// and_expression: equality ('&&' equality)*
// equality: relational (('==' | '!=') relational)*
// relational: additive (('>' | '>=' | '<' | '<=') additive)*
// additive: multiplicative (('+' | '-') multiplicative)*
// multiplicative: cast (('*' | '/') cast)*
// By precedence climbing over binary_operator: operands of a level bind at least one level
// more strongly, so each level groups to the left.
Node_ptr Ovrel_parser::Impl::binary(int32_t min_level)
{
    Node_ptr left = cast();
    for (;;) {
        Binary_operator op = binary_operator(la_type());
        if (op.level == 0 || op.level < min_level)
            return left;
        Token token = consume();
        Node_ptr right = binary(op.level + 1);
        left = make_operator(op.kind, token, std::move(left), std::move(right));
    }
}

// cast: ('(' type_specifier ')' unary)=> '(' type_specifier ')' unary | unary
Node_ptr Ovrel_parser::Impl::cast()
{
    if (at(TOKEN_LPAREN) && starts_type(la_type(1))) {
        size_t after_type = scan_type(1);
        if (after_type && la_type(after_type) == TOKEN_RPAREN && starts_unary(la_type(after_type + 1))) {
            if (Node_ptr result = attempt([this] { return cast_expression(); }, Token_buffer::CAST_FAILED))
                return result;
        }
    }
    return unary();
}

Node_ptr Ovrel_parser::Impl::cast_expression()
{
    Nesting_guard guard(*this);
    Token open = expect(TOKEN_LPAREN, "'('");
    Node_ptr type = type_specifier();
    expect(TOKEN_RPAREN, "')'");
    Node_ptr operand = unary();
    return make_pair(SYNTAX_TREE::NODE_CAST_EXPRESSION, open, std::move(type), std::move(operand));
}

// unary: '++' unary | '--' unary | ('+' | '-' | '!') unary | postfix
Node_ptr Ovrel_parser::Impl::unary()
{
    int32_t type = la_type();
    if (!is_prefix_operator(type))
        return postfix();
    Nesting_guard guard(*this);
    Token op = consume();
    Node_ptr operand = unary();
    int32_t kind = type == TOKEN_INCREMENT   ? SYNTAX_TREE::NODE_PRE_INCREMENT_EXPRESSION
                   : type == TOKEN_DECREMENT ? SYNTAX_TREE::NODE_PRE_DECREMENT_EXPRESSION
                                             : SYNTAX_TREE::NODE_UNARY_EXPRESSION;
    Node_ptr result = make(kind, op, op.text);
    result->add_child(operand.release());
    return result;
}

// postfix: primary (DOT member_selector | '[' expression ']' | '++' | '--')*
Node_ptr Ovrel_parser::Impl::postfix()
{
    Node_ptr value = primary();
    for (;;) {
        int32_t type = la_type();
        if (type == TOKEN_DOT) {
            Token dot = consume();
            Node_ptr selector = member_selector();
            value = make_pair(SYNTAX_TREE::NODE_CLASS_MEMBER_REF_EXPRESSION, dot, std::move(value), std::move(selector));
        } else if (type == TOKEN_LBRACKET) {
            Token open = consume();
            Node_ptr index = expression();
            expect(TOKEN_RBRACKET, "']'");
            value = make_pair(SYNTAX_TREE::NODE_ARRAY_INDEX_EXPRESSION, open, std::move(value), std::move(index));
        } else if (type == TOKEN_INCREMENT || type == TOKEN_DECREMENT) {
            Token op = consume();
            Node_ptr result = make(type == TOKEN_INCREMENT ? SYNTAX_TREE::NODE_POST_INCREMENT_EXPRESSION
                                                           : SYNTAX_TREE::NODE_POST_DECREMENT_EXPRESSION,
                                   op, op.text);
            result->add_child(value.release());
            value = std::move(result);
        } else {
            return value;
        }
    }
}

// member_selector: function_call | IDENTIFIER
Node_ptr Ovrel_parser::Impl::member_selector()
{
    if (at(TOKEN_IDENTIFIER) && la_type(1) == TOKEN_LPAREN)
        return function_call();
    Token name = expect(TOKEN_IDENTIFIER, "a member name");
    return make(SYNTAX_TREE::NODE_MEMBER_VARIABLE_ID, name, name.text);
}

// primary:
//     '(' expression ')'
//   | constant
//   | function_call
//   | (constructor_call)=> constructor_call
//   | (IDENTIFIER '::' IDENTIFIER)=> IDENTIFIER '::' IDENTIFIER
//   | IDENTIFIER
Node_ptr Ovrel_parser::Impl::primary()
{
    int32_t type = la_type();
    int32_t second = la_type(1);
    if (type == TOKEN_LPAREN) {
        consume();
        Node_ptr inner = expression();
        expect(TOKEN_RPAREN, "')'");
        return inner;
    }
    if (is_constant(type))
        return constant();
    if (type == TOKEN_IDENTIFIER && second == TOKEN_LPAREN)
        return function_call();
    if (starts_type(type) && (second == TOKEN_SCOPE || second == TOKEN_IDENTIFIER || second == TOKEN_LPAREN)) {
        size_t after_type = scan_type(0);
        if (after_type && la_type(after_type) == TOKEN_LPAREN) {
            if (Node_ptr call = attempt([this] { return constructor_call(); }, Token_buffer::CONSTRUCTOR_FAILED))
                return call;
        }
    }
    if (type == TOKEN_IDENTIFIER && second == TOKEN_SCOPE && la_type(2) == TOKEN_IDENTIFIER) {
        Token name = consume();
        consume();
        Token member = consume();
        return make(SYNTAX_TREE::NODE_VARIABLE_ID, name, std::string(name.text) + "::" + std::string(member.text));
    }
    if (type == TOKEN_IDENTIFIER) {
        Token name = consume();
        return make(SYNTAX_TREE::NODE_VARIABLE_ID, name, name.text);
    }
    fail("an expression");
}

// function_call: IDENTIFIER '(' [call_parameters] ')'
Node_ptr Ovrel_parser::Impl::function_call()
{
    Token name = expect(TOKEN_IDENTIFIER, "a function name");
    Node_ptr call = make(SYNTAX_TREE::NODE_FUNCTION_CALL_EXPRESSION, name, name.text);
    expect(TOKEN_LPAREN, "'('");
    if (!at(TOKEN_RPAREN))
        call->add_child(call_parameters().release());
    expect(TOKEN_RPAREN, "',' or ')'");
    return call;
}

// constructor_call: type_specifier '(' [call_parameters] ')'
Node_ptr Ovrel_parser::Impl::constructor_call()
{
    Node_ptr call = make(SYNTAX_TREE::NODE_CONSTRUCTOR_CALL_EXPRESSION, la());
    List_builder children(call.get());
    children.add(type_specifier());
    expect(TOKEN_LPAREN, "'('");
    if (!at(TOKEN_RPAREN))
        children.add(call_parameters());
    expect(TOKEN_RPAREN, "',' or ')'");
    return call;
}

// call_parameters: "void" (before ')') | call_item (',' call_item)*
// call_item: assignment | array_initializer
Node_ptr Ovrel_parser::Impl::call_parameters()
{
    Node_ptr parameters = make(SYNTAX_TREE::NODE_FUNCTION_CALL_PARAMETERS, la());
    if (at(TOKEN_VOID) && la_type(1) == TOKEN_RPAREN) {
        consume();
        return parameters;
    }
    List_builder items(parameters.get());
    for (;;) {
        items.add(at(TOKEN_LBRACE) ? array_initializer() : assignment());
        if (!at(TOKEN_COMMA))
            return parameters;
        consume();
    }
}

// constant: INT_CONSTANT | HEX_INT_CONSTANT | OCT_INT_CONSTANT | FLOAT_CONSTANT | "true" | "false"
//         | STRING_CONSTANT
// A string loses its quotes.
Node_ptr Ovrel_parser::Impl::constant()
{
    if (!is_constant(la_type()))
        fail("a constant");
    Token token = consume();
    std::string_view text = token.text;
    if (token.type == TOKEN_STRING_CONSTANT && text.size() >= 2)
        text = text.substr(1, text.size() - 2);
    return make(constant_kind(token.type), token, text);
}

// =============================================================================================

Ovrel_parser::Ovrel_parser(Token_stream& tokens, const std::string& file_name, Error_list& errors)
    : impl_(std::make_unique<Impl>(tokens, file_name, errors))
{
}

Ovrel_parser::~Ovrel_parser() = default;

void Ovrel_parser::set_include_hook(Include_hook hook) { impl_->include_hook = std::move(hook); }

void Ovrel_parser::set_tree_arena(bool on) { impl_->tree_arena = on; }

St_node* Ovrel_parser::parse_translation_unit() { return impl_->parse_translation_unit(); }

St_node* Ovrel_parser::parse_expression() { return impl_->parse_expression(); }

St_node* parse_expression(const std::string& text, Error_list& errors, const std::string& file_name)
{
    Ovrel_lexer lexer(text.data(), text.size(), file_name);
    Ovrel_parser parser(lexer, file_name, errors);
    return parser.parse_expression();
}

Parse_result parse_text(const std::string& text, const std::string& file_name,
                        Ovrel_parser::Include_hook include_hook)
{
    Parse_result result;
    Ovrel_lexer lexer(text.data(), text.size(), file_name);
    Ovrel_preprocessor preprocessor(lexer, file_name);
    preprocessor.set_expression_parser(
        [&file_name](const std::string& line, Error_list& errors) { return parse_expression(line, errors, file_name); });
    Error_list syntax_errors;
    Ovrel_parser parser(preprocessor, file_name, syntax_errors);
    parser.set_include_hook(std::move(include_hook));
    bool preprocessor_failed = false;
    SYNTAX_TREE::Error_record preprocessor_error;
    try {
        result.tree.reset(parser.parse_translation_unit());
    } catch (const Preprocessor_exception& error) {
        preprocessor_failed = true;
        preprocessor_error = error.record();
    }
    result.errors = preprocessor.diagnostics();
    if (preprocessor_failed && result.errors.empty())
        result.errors.push_back(preprocessor_error);
    result.errors.insert(result.errors.end(), syntax_errors.begin(), syntax_errors.end());
    return result;
}

}  // namespace FRONT12
}  // namespace QZ

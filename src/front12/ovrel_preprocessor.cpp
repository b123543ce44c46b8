#include "front12/ovrel_preprocessor.h"

#include <climits>
#include <memory>

#include "front12/ovrel_lexer.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace FRONT12 {

using SYNTAX_TREE::Error_list;
using SYNTAX_TREE::Error_record;
using SYNTAX_TREE::St_node;

namespace {

// Directive words, numbered as the main loop and the skipping loop classify them.
enum Directive : int {
    DIRECTIVE_UNKNOWN = 0,
    DIRECTIVE_DEFINE = 1,
    DIRECTIVE_UNDEF = 2,
    DIRECTIVE_IF = 3,
    DIRECTIVE_IFDEF = 4,
    DIRECTIVE_IFNDEF = 5,
    DIRECTIVE_ELSE = 6,
    DIRECTIVE_ELIF = 7,
    DIRECTIVE_ENDIF = 8,
    DIRECTIVE_INCLUDE = 9,
    DIRECTIVE_IMPORT = 10,
};

Directive classify(std::string_view word)
{
    static const struct {
        const char* word;
        Directive directive;
    } words[] = {
        {"define", DIRECTIVE_DEFINE}, {"undef", DIRECTIVE_UNDEF},   {"if", DIRECTIVE_IF},
        {"ifdef", DIRECTIVE_IFDEF},   {"ifndef", DIRECTIVE_IFNDEF}, {"else", DIRECTIVE_ELSE},
        {"elif", DIRECTIVE_ELIF},     {"endif", DIRECTIVE_ENDIF},   {"include", DIRECTIVE_INCLUDE},
        {"import", DIRECTIVE_IMPORT},
    };
    for (const auto& w : words)
        if (word == w.word)
            return w.directive;
    return DIRECTIVE_UNKNOWN;
}

bool opens_conditional(Directive d)
{
    return d == DIRECTIVE_IF || d == DIRECTIVE_IFDEF || d == DIRECTIVE_IFNDEF;
}

// ---- #if evaluation ------------------------------------------------------------------------

std::string_view node_text(const St_node* node) { return node->text_view(); }

// Operands a node kind takes in a #if expression; -1 for kinds that fail the evaluation
// (hexadecimal, octal and floating constants, identifiers no macro replaced, and so on).
int operand_count(const St_node* node)
{
    switch (node->kind) {
    case SYNTAX_TREE::NODE_CONDITIONAL_EXPRESSION: return 3;
    case SYNTAX_TREE::NODE_OR_EXPRESSION:
    case SYNTAX_TREE::NODE_XOR_EXPRESSION:
    case SYNTAX_TREE::NODE_AND_EXPRESSION:
    case SYNTAX_TREE::NODE_EQUALITY_EXPRESSION:
    case SYNTAX_TREE::NODE_RELATIONAL_EXPRESSION:
    case SYNTAX_TREE::NODE_ADDITIVE_EXPRESSION:
    case SYNTAX_TREE::NODE_MULTIPLICATIVE_EXPRESSION: return 2;
    case SYNTAX_TREE::NODE_UNARY_EXPRESSION: return 1;
    case SYNTAX_TREE::NODE_INT_CONSTANT:
    case SYNTAX_TREE::NODE_BOOL_CONSTANT: return 0;
    default: return -1;  // the kinds that aren't listed all fail; the list is long and open
    }
}

// Decimal digits with an optional L suffix, wrapping at 32 bits.
bool constant_value(const St_node* node, int32_t& value)
{
    std::string_view text = node_text(node);
    if (node->kind == SYNTAX_TREE::NODE_BOOL_CONSTANT) {
        value = text == "true" ? 1 : 0;
        return true;
    }
    uint32_t v = 0;
    size_t i = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        v = v * 10 + static_cast<uint32_t>(text[i] - '0');
    if (i == 0)
        return false;
    value = static_cast<int32_t>(v);
    return true;
}

int32_t wrap(uint32_t v) { return static_cast<int32_t>(v); }

// One operator applied to its computed operands; false for a division by zero.
bool apply(const St_node* node, const int32_t* a, int32_t& result)
{
    char op = node_text(node).empty() ? '\0' : node_text(node)[0];
    uint32_t x = static_cast<uint32_t>(a[0]);
    uint32_t y = static_cast<uint32_t>(a[1]);
    switch (node->kind) {
    case SYNTAX_TREE::NODE_CONDITIONAL_EXPRESSION: result = a[0] != 0 ? a[1] : a[2]; return true;
    case SYNTAX_TREE::NODE_OR_EXPRESSION: result = (a[0] != 0 || a[1] != 0); return true;
    case SYNTAX_TREE::NODE_XOR_EXPRESSION: result = ((a[0] != 0) != (a[1] != 0)); return true;
    case SYNTAX_TREE::NODE_AND_EXPRESSION: result = (a[0] != 0 && a[1] != 0); return true;
    case SYNTAX_TREE::NODE_EQUALITY_EXPRESSION: result = op == '!' ? a[0] != a[1] : a[0] == a[1]; return true;
    // "<=" evaluates as "<" and ">=" as ">": only the first character is looked at.
    case SYNTAX_TREE::NODE_RELATIONAL_EXPRESSION: result = op == '<' ? a[0] < a[1] : a[0] > a[1]; return true;
    case SYNTAX_TREE::NODE_ADDITIVE_EXPRESSION: result = wrap(op == '+' ? x + y : x - y); return true;
    case SYNTAX_TREE::NODE_MULTIPLICATIVE_EXPRESSION:
        if (op == '*') {
            result = wrap(x * y);
            return true;
        }
        if (a[1] == 0)
            return false;
        result = (a[0] == INT32_MIN && a[1] == -1) ? INT32_MIN : a[0] / a[1];
        return true;
    // Only "-" does anything: "!x" is x.
    case SYNTAX_TREE::NODE_UNARY_EXPRESSION: result = node_text(node) == "-" ? wrap(0u - x) : a[0]; return true;
    default: return false;
    }
}

// Evaluates with explicit stacks: a long chain such as 1+1+...+1 makes a tree as deep as it
// is long.
bool evaluate(const St_node* root, int32_t& result)
{
    struct Item {
        const St_node* node;
        bool operands_done;
    };
    std::vector<Item> work{{root, false}};
    std::vector<int32_t> values;
    std::vector<const St_node*> children;
    while (!work.empty()) {
        Item item = work.back();
        work.pop_back();
        int count = operand_count(item.node);
        if (count < 0)
            return false;
        if (item.operands_done) {
            int32_t operands[3] = {};
            for (int i = count - 1; i >= 0; --i) {
                operands[i] = values.back();
                values.pop_back();
            }
            int32_t v = 0;
            if (!apply(item.node, operands, v))
                return false;
            values.push_back(v);
            continue;
        }
        if (count == 0) {
            int32_t v = 0;
            if (!constant_value(item.node, v))
                return false;
            values.push_back(v);
            continue;
        }
        children.clear();
        for (const St_node* c = item.node->first_child; c; c = c->next_sibling) {
            if (static_cast<int>(children.size()) == count)
                return false;
            children.push_back(c);
        }
        if (static_cast<int>(children.size()) != count)
            return false;
        work.push_back({item.node, true});
        for (auto it = children.rbegin(); it != children.rend(); ++it)
            work.push_back({*it, false});
    }
    if (values.size() != 1)
        return false;
    result = values.back();
    return true;
}

}  // namespace

// Plays back the tokens of one macro expansion. Past the end it answers EOF, so that
// argument collection inside a body can't run on into the text after the call.
class Macro_token_stream : public Token_stream {
public:
    Macro_token_stream(std::vector<Token> tokens, const Token& call) : tokens_(std::move(tokens))
    {
        end_.type = TOKEN_EOF;
        end_.line = call.line;
        end_.column = call.column;
    }
    Token next_token() override { return next_ < tokens_.size() ? tokens_[next_++] : end_; }
    bool exhausted() const { return next_ >= tokens_.size(); }

private:
    std::vector<Token> tokens_;
    size_t next_ = 0;
    Token end_;
};

// ---- Errors -------------------------------------------------------------------------------------

Preprocessor_exception::Preprocessor_exception(const Error_record& record, const std::string& file)
    : std::runtime_error(SYNTAX_TREE::format_error(record, file.c_str())),
      record_(record), file_(file)
{
}

void Ovrel_preprocessor::fail(uint32_t number, const Token& at, std::string_view text)
{
    Error_record record;
    record.line = at.line;
    record.column = at.column;
    record.number = number;
    record.text = std::string(text);
    diagnostics_.push_back(record);
    failed_ = true;
    throw Preprocessor_exception(record, file_name_);
}

// ---- Reading ------------------------------------------------------------------------------------

// The preprocessor's own input as a token source for argument collection and `defined`.
class Ovrel_preprocessor::Input_source : public Token_stream {
public:
    explicit Input_source(Ovrel_preprocessor& owner) : owner_(owner) {}
    Token next_token() override { return owner_.read(); }

private:
    Ovrel_preprocessor& owner_;
};

// One top-level expansion: a stack of frames, one per macro being played back.
struct Ovrel_preprocessor::Expansion {
    struct Frame {
        Macro* macro;
        std::unique_ptr<Macro_token_stream> stream;  // held by pointer: callers keep references
    };

    explicit Expansion(const Token& call) : root(call) {}
    // On an error the flags of the macros still being played back are cleared, so that a
    // table copied out afterwards is clean.
    ~Expansion()
    {
        for (Frame& f : frames)
            f.macro->being_expanded = false;
    }

    Token root;  // the token in the text that started it all
    std::vector<Frame> frames;
    size_t produced = 0;
};

Ovrel_preprocessor::Ovrel_preprocessor(Token_stream& input, std::string file_name)
    : input_(input), file_name_(std::move(file_name))
{
    end_token_.type = TOKEN_EOF;
}

Ovrel_preprocessor::~Ovrel_preprocessor() = default;

std::string_view Ovrel_preprocessor::keep_text(std::string text)
{
    texts_.push_back(std::move(text));
    return texts_.back();
}

Token Ovrel_preprocessor::pull_from_input()
{
    if (input_finished_)
        return end_token_;
    Token t = input_.next_token();
    if (t.type == TOKEN_EOF) {
        input_finished_ = true;
        end_token_ = t;
    }
    return t;
}

// The next input token; a run of string constants becomes one, at the first one's place.
Token Ovrel_preprocessor::pull()
{
    Token first = has_pending_ ? pending_ : pull_from_input();
    has_pending_ = false;
    if (first.type != TOKEN_STRING_CONSTANT)
        return first;
    Token next = pull_from_input();
    if (next.type != TOKEN_STRING_CONSTANT) {
        pending_ = next;
        has_pending_ = true;
        return first;
    }
    std::string merged(first.text);
    do {
        // Drop the closing quote of the text so far and the opening quote of the next.
        if (!merged.empty() && merged.back() == '"')
            merged.pop_back();
        std::string_view tail = next.text;
        if (!tail.empty() && tail.front() == '"')
            tail.remove_prefix(1);
        merged.append(tail);
        next = pull_from_input();
    } while (next.type == TOKEN_STRING_CONSTANT);
    pending_ = next;
    has_pending_ = true;
    first.text = keep_text(std::move(merged));
    return first;
}

const Token& Ovrel_preprocessor::peek()
{
    if (!has_lookahead_) {
        lookahead_ = pull();
        has_lookahead_ = true;
    }
    return lookahead_;
}

Token Ovrel_preprocessor::read()
{
    if (has_lookahead_) {
        has_lookahead_ = false;
        return lookahead_;
    }
    return pull();
}

// ---- Main loop ----------------------------------------------------------------------------------

Token Ovrel_preprocessor::next_token()
{
    if (failed_)
        return end_token_;
    if (queue_head_ == queue_.size()) {
        queue_.clear();
        queue_head_ = 0;
        fill_queue();
        if (queue_.empty())
            return end_token_;
    }
    return queue_[queue_head_++];
}

// Works line by line until a token is queued: a `#` is a directive only as the first token
// this loop sees on a line.
void Ovrel_preprocessor::fill_queue()
{
    Input_source source(*this);
    while (queue_.empty() && !finished_) {
        if (peek().type == TOKEN_HASH) {
            directive(read());
            continue;
        }
        int32_t line = peek().line;
        for (;;) {
            const Token& next = peek();
            if (next.type == TOKEN_EOF) {
                queue_.push_back(read());
                finished_ = true;
                return;
            }
            if (next.line != line)
                break;
            Token token = read();
            expand(token, source, queue_);
        }
    }
}

void Ovrel_preprocessor::directive(const Token& hash)
{
    Token word = read();
    Directive kind = classify(word.text);
    switch (kind) {
    case DIRECTIVE_DEFINE: define_macro(); return;
    case DIRECTIVE_UNDEF: {
        Token name = read();
        key_.assign(name.text);
        macros_.erase(key_);
        return;
    }
    case DIRECTIVE_IF:
    case DIRECTIVE_IFDEF:
    case DIRECTIVE_IFNDEF: conditional(kind, word); return;
    case DIRECTIVE_ELSE:
    case DIRECTIVE_ELIF:
        // The branch being read has ended; the rest of the block is skipped unevaluated.
        if (active_conditionals_ == 0)
            fail(DIAG_UNEXPECTED_ELSE, word);
        skip_branch(true);
        --active_conditionals_;
        return;
    case DIRECTIVE_ENDIF:
        if (active_conditionals_ == 0)
            fail(DIAG_UNEXPECTED_ENDIF, word);
        --active_conditionals_;
        return;
    case DIRECTIVE_INCLUDE:
    case DIRECTIVE_IMPORT:
        // Only "# include" gets here (the usual spelling is one token); the parser rejects it.
        queue_.push_back(hash);
        queue_.push_back(word);
        return;
    case DIRECTIVE_UNKNOWN: fail(DIAG_UNKNOWN_DIRECTIVE, word, word.text);
    }
}

// ---- #define ------------------------------------------------------------------------------------

void Ovrel_preprocessor::define_macro()
{
    Token name = read();
    std::vector<std::string> parameters;
    // A `(` on the name's line opens a parameter list, even after blanks: a body can't start
    // with a parenthesis.
    if (peek().type == TOKEN_LPAREN && peek().line == name.line) {
        read();
        for (;;) {
            Token parameter = peek();
            if (parameter.type == TOKEN_RPAREN) {
                read();
                break;
            }
            if (parameter.type == TOKEN_EOF)
                fail(DIAG_UNEXPECTED_END_OF_FILE, parameter);
            parameters.emplace_back(parameter.text);  // any token will do as a name
            read();
            Token delimiter = peek();
            if (delimiter.type == TOKEN_COMMA) {
                read();
                continue;
            }
            if (delimiter.type == TOKEN_RPAREN) {
                read();
                break;
            }
            fail(DIAG_MACRO_DEFINITION, delimiter);
        }
    }

    // The body runs to the end of the name's line; a backslash anywhere moves that end down
    // by one line.
    int32_t last_line = name.line;
    auto take_continuation = [&] {
        if (peek().type == TOKEN_BACKSLASH) {
            read();
            ++last_line;
        }
    };
    std::vector<Token> body;
    take_continuation();
    while (peek().type != TOKEN_EOF && peek().line <= last_line) {
        body.push_back(read());
        take_continuation();
    }

    key_.assign(name.text);
    note_macro_name(name.text);
    Macro& macro = macros_.insert(key_);
    macro.parameters = std::move(parameters);
    macro.body = make_body(body);
    macro.being_expanded = false;
}

std::shared_ptr<const Macro_body> Ovrel_preprocessor::make_body(const std::vector<Token>& tokens)
{
    if (tokens.empty())
        return nullptr;
    auto body = std::make_shared<Macro_body>();
    size_t size = 0;
    for (const Token& t : tokens)
        size += t.text.size();
    body->storage.reserve(size);
    for (const Token& t : tokens)
        body->storage.append(t.text);
    // Views are taken only once the storage is complete and won't move again.
    body->tokens = tokens;
    size_t offset = 0;
    for (Token& t : body->tokens) {
        t.text = std::string_view(body->storage).substr(offset, t.text.size());
        offset += t.text.size();
    }
    bodies_.push_back(body);
    return body;
}

void Ovrel_preprocessor::add_macros(const Macro_table& macros)
{
    macros.for_each([this](const std::string& name, const Macro& incoming) {
        note_macro_name(name);
        Macro& macro = macros_.insert(name);
        macro.parameters = incoming.parameters;
        macro.body = incoming.body;
        macro.being_expanded = false;
        if (incoming.body)
            bodies_.push_back(incoming.body);
    });
}

// ---- Conditionals -------------------------------------------------------------------------------

void Ovrel_preprocessor::conditional(int kind, const Token& word)
{
    bool holds;
    if (kind == DIRECTIVE_IF) {
        holds = evaluate_line(word);
    } else {
        Token name = read();
        holds = (find_macro(name.text) != nullptr) == (kind == DIRECTIVE_IFDEF);
    }
    if (holds)
        ++active_conditionals_;
    else
        skip_branch(false);
}

void Ovrel_preprocessor::skip_branch(bool only_to_endif)
{
    unsigned depth = 1;
    for (;;) {
        Token token = read();
        if (token.type == TOKEN_EOF)
            fail(DIAG_UNEXPECTED_END_OF_FILE, token);
        if (token.type != TOKEN_HASH)
            continue;
        Token word = read();
        // Unknown words are fine here: a skipped block may hold anything.
        Directive kind = classify(word.text);
        if (opens_conditional(kind)) {
            ++depth;
        } else if (kind == DIRECTIVE_ENDIF) {
            if (--depth == 0)
                return;
        } else if (!only_to_endif && depth == 1) {
            if (kind == DIRECTIVE_ELSE || (kind == DIRECTIVE_ELIF && evaluate_line(word))) {
                ++active_conditionals_;
                return;
            }
        }
    }
}

bool Ovrel_preprocessor::evaluate_line(const Token& word)
{
    Input_source source(*this);
    std::vector<Token> tokens;
    in_if_expression_ = true;
    int32_t line = peek().line;
    while (peek().type != TOKEN_EOF && peek().line == line) {
        Token token = read();
        expand(token, source, tokens);
    }
    in_if_expression_ = false;

    std::string text;
    for (const Token& t : tokens) {
        text.append(t.text);
        text += ' ';
    }
    if (!expression_parser_)
        fail(DIAG_MACRO_EXPRESSION, word);
    Error_list errors;
    std::unique_ptr<St_node> tree;
    try {
        tree.reset(expression_parser_(text, errors));
    } catch (const Recognition_error&) {
        fail(DIAG_MACRO_EXPRESSION, word);
    }
    int32_t value = 0;
    if (!tree || !errors.empty() || !evaluate(tree.get(), value))
        fail(DIAG_MACRO_EXPRESSION, word);
    return value != 0;
}

// ---- Expansion ----------------------------------------------------------------------------------

// Length, the first two bytes and the last: no loop over the text, and names that differ
// only in the middle are rare enough.
uint32_t Ovrel_preprocessor::filter_hash(std::string_view name)
{
    if (name.empty())
        return 0;
    auto byte = [&name](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(name[i])); };
    uint32_t h = static_cast<uint32_t>(name.size()) * 0x9e3779b1u;
    h ^= byte(0) * 0x85ebca6bu;
    h ^= byte(name.size() > 1 ? 1 : 0) * 0xc2b2ae35u;
    h ^= byte(name.size() - 1) * 0x27d4eb2fu;
    h ^= h >> 15;
    return h % NAME_FILTER_BITS;
}

void Ovrel_preprocessor::note_macro_name(std::string_view name)
{
    uint32_t bit = filter_hash(name);
    name_filter_[bit / 64] |= uint64_t(1) << (bit % 64);
}

Macro* Ovrel_preprocessor::find_macro(std::string_view name)
{
    uint32_t bit = filter_hash(name);
    if ((name_filter_[bit / 64] & (uint64_t(1) << (bit % 64))) == 0)
        return nullptr;
    key_.assign(name);
    return macros_.find(key_);
}

// Expands one token into out. Nested expansions run on an explicit stack of frames, so that a
// long chain of macros can't exhaust the call stack.
void Ovrel_preprocessor::expand(const Token& token, Token_stream& source, std::vector<Token>& out)
{
    // Most tokens are no macro: they pass without setting up an expansion.
    if (!in_if_expression_ && !find_macro(token.text)) {
        out.push_back(token);
        return;
    }
    Expansion expansion(token);
    expand_one(token, source, out, expansion);
    std::vector<Expansion::Frame>& frames = expansion.frames;
    while (!frames.empty()) {
        Expansion::Frame& top = frames.back();
        if (top.stream->exhausted()) {
            top.macro->being_expanded = false;
            frames.pop_back();
            continue;
        }
        Macro_token_stream& stream = *top.stream;
        expand_one(stream.next_token(), stream, out, expansion);
    }
}

void Ovrel_preprocessor::expand_one(const Token& token, Token_stream& source, std::vector<Token>& out,
                                    Expansion& expansion)
{
    Macro* macro = find_macro(token.text);
    if (macro && !macro->being_expanded) {
        start_macro(token, *macro, source, expansion);
        return;
    }
    if (in_if_expression_ && token.text == "defined") {
        // Only defined(NAME) works: the token after `defined` is dropped unseen, the name
        // becomes 1 or 0, and one more token is dropped.
        source.next_token();
        Token name = source.next_token();
        bool known = find_macro(name.text) != nullptr;
        name.type = TOKEN_INT_CONSTANT;
        name.text = known ? "1" : "0";
        out.push_back(name);
        source.next_token();
        return;
    }
    out.push_back(token);
}

std::vector<Token> Ovrel_preprocessor::collect_argument(Token_stream& source, bool last)
{
    std::vector<Token> argument;
    int depth = 0;
    for (;;) {
        Token t = source.next_token();
        if (t.type == TOKEN_EOF)
            fail(DIAG_MACRO_ARGUMENTS, t);
        if (depth == 0 && (t.type == TOKEN_COMMA || t.type == TOKEN_RPAREN)) {
            if (t.type != (last ? TOKEN_RPAREN : TOKEN_COMMA))
                fail(DIAG_MACRO_ARGUMENTS, t);
            return argument;
        }
        if (t.type == TOKEN_LPAREN)
            ++depth;
        else if (t.type == TOKEN_RPAREN)
            --depth;
        argument.push_back(t);
    }
}

void Ovrel_preprocessor::start_macro(const Token& call, Macro& macro, Token_stream& source, Expansion& expansion)
{
    const std::vector<std::string>& parameters = macro.parameters;
    std::vector<std::vector<Token>> arguments;
    if (!parameters.empty()) {
        Token open = source.next_token();
        if (open.type != TOKEN_LPAREN)
            fail(DIAG_MACRO_ARGUMENTS, open);
        for (size_t i = 0; i < parameters.size(); ++i)
            arguments.push_back(collect_argument(source, i + 1 == parameters.size()));
    }

    // The played-back tokens all stand at the call, so that diagnostics in expanded code
    // point there. A parameter named twice takes the later argument.
    auto parameter_index = [&parameters](std::string_view text) -> int {
        for (size_t i = parameters.size(); i-- > 0;)
            if (parameters[i] == text)
                return static_cast<int>(i);
        return -1;
    };
    std::vector<Token> tokens;
    auto place = [&](Token t) {
        t.line = call.line;
        t.column = call.column;
        tokens.push_back(t);
    };
    if (macro.body) {
        for (const Token& t : macro.body->tokens) {
            int index = parameters.empty() ? -1 : parameter_index(t.text);
            if (index < 0) {
                place(t);
                continue;
            }
            for (const Token& a : arguments[static_cast<size_t>(index)])
                place(a);
        }
    }
    expansion.produced += tokens.size();
    if (expansion.produced > EXPANSION_LIMIT)
        fail(DIAG_PLAIN_MESSAGE, expansion.root,
             "macro expansion of \"" + std::string(expansion.root.text) + "\" exceeds " +
                 std::to_string(EXPANSION_LIMIT) + " tokens");
    macro.being_expanded = true;
    expansion.frames.push_back({&macro, std::make_unique<Macro_token_stream>(std::move(tokens), call)});
}

}  // namespace FRONT12
}  // namespace QZ

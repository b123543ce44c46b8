// The generator keeps a model of the types and names in scope and writes only what the
// language's overloads accept; every choice comes from one seeded stream.
#include "program_generator.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <sstream>
#include <vector>

namespace vorn_fuzz {

namespace {

// splitmix64: the same numbers on every platform, unlike the library's distributions.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint64_t next()
    {
        uint64_t z = (state_ += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    int below(int n) { return n <= 1 ? 0 : int(next() % uint64_t(n)); }
    bool chance(int percent) { return below(100) < percent; }
    template <typename T>
    const T& pick(const std::vector<T>& items) { return items[size_t(below(int(items.size())))]; }

private:
    uint64_t state_;
};

enum Kind { SCALAR, INT, BOOL, FVEC, IVEC, BVEC, COLOR, MATRIX, STRUCT, TEXTURE };

struct Ty {
    Kind kind = SCALAR;
    int n = 1;     // vector width
    int rows = 0;  // matrix
    int cols = 0;
    bool operator==(const Ty& o) const { return kind == o.kind && n == o.n && rows == o.rows && cols == o.cols; }
};

Ty scalar() { return Ty{SCALAR, 1, 0, 0}; }
Ty integer() { return Ty{INT, 1, 0, 0}; }
Ty boolean() { return Ty{BOOL, 1, 0, 0}; }
Ty fvec(int n) { return Ty{FVEC, n, 0, 0}; }
Ty ivec(int n) { return Ty{IVEC, n, 0, 0}; }
Ty bvec(int n) { return Ty{BVEC, n, 0, 0}; }
Ty colour() { return Ty{COLOR, 4, 0, 0}; }
Ty matrix(int r, int c) { return Ty{MATRIX, 1, r, c}; }
Ty pack() { return Ty{STRUCT, 1, 0, 0}; }

const char* const struct_name = "Pack";

std::string type_word(const Ty& t)
{
    switch (t.kind) {
    case SCALAR: return "Scalar";
    case INT: return "Int";
    case BOOL: return "Bool";
    case FVEC: return "Vector" + std::to_string(t.n);
    case IVEC: return "Vector" + std::to_string(t.n) + "i";
    case BVEC: return "Vector" + std::to_string(t.n) + "b";
    case COLOR: return "Color";
    case MATRIX: return "Matrix" + std::to_string(t.rows) + "x" + std::to_string(t.cols);
    case STRUCT: return struct_name;
    case TEXTURE: return "Texture2d";
    }
    return "Scalar";
}

struct Var {
    std::string name;
    Ty ty;
    int array = 0;  // element count; 0: not an array
    bool writable = true;
};

struct Field {
    std::string name;
    Ty ty;
};

struct Function {
    std::string name;
    Ty result;
    std::vector<Var> parameters;
    std::vector<std::string> qualifiers;  // "in", "out", "inout"
    int rank = 0;                          // may call only functions of lower rank
    bool method = false;
};

// Field names, several of them words of GLSL or HLSL.
const std::vector<std::string> field_names = {"input", "output", "fixed", "common", "half", "filter",
                                              "sampler", "string", "vector", "weight", "texture", "point",
                                              "min", "max", "matrix", "linear", "shared", "line", "uniform",
                                              "varying", "attribute", "long", "short", "double"};

// Helper names, several of them built-ins of GLSL that the generated text itself calls.
const std::vector<std::string> helper_names = {"mix", "fract", "texture2D", "smooth", "helper", "shade", "blend",
                                               "inversesqrt", "mod", "lessThan", "equal", "vorn_mat3",
                                               "greaterThan", "dFdx", "textureCube", "matrixCompMult", "notEqual"};

const std::vector<std::string> scalar_literals = {"0.25", "0.5", "0.75", "1.0", "1.5", "2.0", "0.125", "3.0"};

std::vector<Ty> value_types()
{
    std::vector<Ty> types = {scalar(), scalar(), scalar(), integer(), boolean(), fvec(2), fvec(3), fvec(3),
                             fvec(4), ivec(2), ivec(3), bvec(2), bvec(3), colour(), colour()};
    for (int r = 2; r <= 4; ++r)
        for (int c = 2; c <= 4; ++c)
            types.push_back(matrix(r, c));
    return types;
}

class Program_writer {
public:
    explicit Program_writer(uint64_t seed) : random_(seed) {}

    std::string write();

private:
    // Names
    std::string fresh(const std::string& stem) { return stem + "_" + std::to_string(++counter_); }

    // Expressions
    std::string expression(const Ty& t, int depth);
    std::string leaf(const Ty& t);
    std::string literal(const Ty& t);
    std::string scalar_expression(int depth);
    std::string int_expression(int depth);
    std::string bool_expression(int depth);
    std::string fvec_expression(int n, int depth);
    std::string ivec_expression(int n, int depth);
    std::string bvec_expression(int n, int depth);
    std::string colour_expression(int depth);
    std::string matrix_expression(int r, int c, int depth);
    std::string call_of(const Ty& t, int depth);
    std::string swizzle(int n, int length, bool colour_letters);
    std::string swizzle_base(const Ty& t);
    const Var* variable_of(const Ty& t, bool writable = false);
    std::string place_of(const Ty& t);

    // Statements
    void statements(int count, int depth);
    void statement(int depth);
    void declaration();
    void assignment();
    void if_statement(int depth);
    void loop(int depth);
    void switch_statement(int depth);
    void call_statement();
    void block(int count, int depth);
    void line(const std::string& text) { out_ << std::string(size_t(indent_), '\t') << text << "\n"; }

    // Declarations
    void file_level();
    void helper(Function& function);
    void shader();

    Random random_;
    std::ostringstream out_;
    int indent_ = 0;
    int counter_ = 0;
    std::vector<std::vector<Var>> scopes_;
    std::vector<Field> fields_;
    std::vector<Function> functions_;
    std::vector<std::string> enum_values_;
    const Function* current_ = nullptr;
    bool in_main_ = false;
    int loop_depth_ = 0;
    std::string texture_;
};

const Var* Program_writer::variable_of(const Ty& t, bool writable)
{
    std::vector<const Var*> found;
    for (const auto& scope : scopes_)
        for (const Var& var : scope)
            if (var.ty == t && var.array == 0 && (!writable || var.writable))
                found.push_back(&var);
    if (found.empty())
        return nullptr;
    return found[size_t(random_.below(int(found.size())))];
}

// A place of that type that can be written: a variable, an array element or a struct field.
std::string Program_writer::place_of(const Ty& t)
{
    std::vector<std::string> places;
    for (const auto& scope : scopes_) {
        for (const Var& var : scope) {
            if (!var.writable)
                continue;
            if (var.ty == t && var.array == 0)
                places.push_back(var.name);
            if (var.ty == t && var.array > 0)
                places.push_back(var.name + "[" + std::to_string(random_.below(var.array)) + "]");
            if (var.ty.kind == STRUCT && var.array == 0)
                for (const Field& field : fields_)
                    if (field.ty == t)
                        places.push_back(var.name + "." + field.name);
        }
    }
    if (places.empty())
        return std::string();
    return places[size_t(random_.below(int(places.size())))];
}

std::string Program_writer::literal(const Ty& t)
{
    auto s = [this] { return random_.pick(scalar_literals); };
    auto i = [this] { return std::to_string(random_.below(4)); };
    auto b = [this] { return std::string(random_.chance(50) ? "true" : "false"); };
    std::string text;
    auto list = [&](int count, const std::function<std::string()>& item) {
        std::string joined;
        for (int k = 0; k < count; ++k)
            joined += (k ? ", " : "") + item();
        return joined;
    };
    switch (t.kind) {
    case SCALAR: return s();
    case INT: return i();
    case BOOL: return b();
    case FVEC: return type_word(t) + "(" + list(t.n, s) + ")";
    case IVEC: return type_word(t) + "(" + list(t.n, i) + ")";
    case BVEC: return type_word(t) + "(" + list(t.n, b) + ")";
    case COLOR: return "Color(" + list(4, s) + ")";
    case MATRIX: return type_word(t) + "(" + list(t.rows * t.cols, s) + ")";
    case STRUCT:
    case TEXTURE: break;
    }
    return "0.5";
}

std::string Program_writer::leaf(const Ty& t)
{
    if (random_.chance(60))
        if (const Var* var = variable_of(t))
            return var->name;
    if (t.kind == SCALAR && !fields_.empty() && random_.chance(30)) {
        for (const auto& scope : scopes_)
            for (const Var& var : scope)
                if (var.ty.kind == STRUCT && var.array == 0)
                    for (const Field& field : fields_)
                        if (field.ty == t)
                            return var.name + "." + field.name;
    }
    return literal(t);
}

std::string Program_writer::expression(const Ty& t, int depth)
{
    if (depth <= 0 || random_.chance(25))
        return leaf(t);
    if (random_.chance(10))
        if (std::string call = call_of(t, depth); !call.empty())
            return call;
    if (random_.chance(6))
        return "(" + bool_expression(depth - 1) + " ? " + expression(t, depth - 1) + " : " + expression(t, depth - 1) + ")";
    // In parentheses, so that a swizzle or index behind it applies to the whole.
    switch (t.kind) {
    case SCALAR: return "(" + scalar_expression(depth) + ")";
    case INT: return "(" + int_expression(depth) + ")";
    case BOOL: return "(" + bool_expression(depth) + ")";
    case FVEC: return "(" + fvec_expression(t.n, depth) + ")";
    case IVEC: return "(" + ivec_expression(t.n, depth) + ")";
    case BVEC: return "(" + bvec_expression(t.n, depth) + ")";
    case COLOR: return "(" + colour_expression(depth) + ")";
    case MATRIX: return "(" + matrix_expression(t.rows, t.cols, depth) + ")";
    case STRUCT:
    case TEXTURE: break;
    }
    return leaf(t);
}

// The language takes a member or swizzle only of a variable or a call.
std::string Program_writer::swizzle_base(const Ty& t)
{
    if (const Var* var = variable_of(t))
        return var->name;
    return literal(t);
}

std::string Program_writer::swizzle(int n, int length, bool colour_letters)
{
    const char* letters = colour_letters ? "rgba" : "xyzw";
    std::string text;
    for (int k = 0; k < length; ++k)
        text += letters[random_.below(n)];
    return text;
}

std::string Program_writer::scalar_expression(int depth)
{
    int d = depth - 1;
    auto e = [&] { return expression(scalar(), d); };
    int width = 2 + random_.below(3);
    switch (random_.below(30)) {
    case 0: return "(" + e() + " + " + e() + ")";
    case 1: return "(" + e() + " - " + e() + ")";
    case 2: return "(" + e() + " * " + e() + ")";
    case 3: return "(" + e() + " / (abs(" + e() + ") + 1.0))";
    case 4: return "-" + expression(scalar(), d);
    case 5: return "sin(" + e() + ")";
    case 6: return "min(" + e() + ", " + e() + ")";
    case 7: return "clamp(" + e() + ", 0.0, 1.0)";
    case 8: return "lerp(" + e() + ", " + e() + ", " + e() + ")";
    case 9: return "step(" + e() + ", " + e() + ")";
    case 10: return "smoothstep(0.0, 1.0, " + e() + ")";
    case 11: return "pow(abs(" + e() + "), " + e() + ")";
    case 12: return "fmod(" + e() + ", 1.5)";
    case 13: return "atan2(" + e() + ", " + e() + ")";
    case 14: return "dot(" + expression(fvec(width), d) + ", " + expression(fvec(width), d) + ")";
    case 15: return "length(" + expression(fvec(width), d) + ")";
    case 16: return swizzle_base(fvec(width)) + "." + swizzle(width, 1, false);
    case 17: return expression(fvec(width), d) + "[" + std::to_string(random_.below(width)) + "]";
    case 18: return "(Scalar) " + expression(integer(), d);
    case 19: return swizzle_base(colour()) + "." + swizzle(4, 1, true);
    case 20: {
        int r = 2 + random_.below(3), c = 2 + random_.below(3);
        return expression(matrix(r, c), d) + "[" + std::to_string(random_.below(r)) + "][" +
               std::to_string(random_.below(c)) + "]";
    }
    case 21: return "saturate(" + e() + ")";
    case 22: return "frac(" + e() + ") + floor(" + e() + ")";
    case 23: return "log10(abs(" + e() + ") + 1.0)";
    case 24: return "round(" + e() + ")";
    case 25: return "distance(" + expression(fvec(3), d) + ", " + expression(fvec(3), d) + ")";
    case 26: return "Scalar(" + expression(integer(), d) + ")";
    case 27: return "sqrt(abs(" + e() + ")) + exp(" + e() + " * 0.1) + cos(" + e() + ")";
    case 28: return "max(" + e() + ", " + e() + ") + abs(" + e() + ") + sign(" + e() + ")";
    default: return "radians(" + e() + ") + degrees(" + e() + ") * 0.01 + ceil(" + e() + ")";
    }
}

std::string Program_writer::int_expression(int depth)
{
    int d = depth - 1;
    auto e = [&] { return expression(integer(), d); };
    switch (random_.below(9)) {
    case 0: return "(" + e() + " + " + e() + ")";
    case 1: return "(" + e() + " - " + e() + ")";
    case 2: return "(" + e() + " * " + e() + ")";
    case 3: return "-" + e();
    case 4: return "(Int) " + expression(scalar(), d);
    case 5: return swizzle_base(ivec(3)) + "." + swizzle(3, 1, false);
    case 6: return "abs(" + e() + ")";
    case 7: return "min(" + e() + ", " + e() + ") + max(" + e() + ", " + e() + ")";
    default: return "clamp(" + e() + ", 0, 3)";
    }
}

std::string Program_writer::bool_expression(int depth)
{
    int d = depth - 1;
    auto s = [&] { return expression(scalar(), d); };
    auto b = [&] { return expression(boolean(), d); };
    static const char* const relations[] = {" < ", " <= ", " > ", " >= ", " == ", " != "};
    switch (random_.below(9)) {
    case 0: return "(" + s() + relations[random_.below(6)] + s() + ")";
    case 1: return "(" + expression(integer(), d) + relations[random_.below(6)] + expression(integer(), d) + ")";
    case 2: return "(" + b() + " && " + b() + ")";
    case 3: return "(" + b() + " || " + b() + ")";
    case 4: return "(" + b() + " ^^ " + b() + ")";
    case 5: return "!" + b();
    case 6: return "all(" + expression(bvec(3), d) + ")";
    case 7: return "any(" + expression(bvec(2), d) + ")";
    default: return "(" + b() + " == " + b() + ")";
    }
}

std::string Program_writer::fvec_expression(int n, int depth)
{
    int d = depth - 1;
    Ty t = fvec(n);
    auto v = [&] { return expression(t, d); };
    auto s = [&] { return expression(scalar(), d); };
    std::string word = type_word(t);
    switch (random_.below(22)) {
    case 0: return "(" + v() + " + " + v() + ")";
    case 1: return "(" + v() + " - " + v() + ")";
    case 2: return "(" + v() + " * " + v() + ")";
    case 3: return "(" + v() + " * " + s() + ")";
    case 4: return "(" + s() + " * " + v() + ")";
    case 5: return "(" + v() + " / 2.0)";
    case 6: return "-" + v();
    case 7: return "abs(" + v() + ")";
    case 8: return "lerp(" + v() + ", " + v() + ", " + s() + ")";
    case 9: return "clamp(" + v() + ", " + v() + ", " + v() + ")";
    case 10: return "pow(abs(" + v() + "), " + s() + ")";
    case 11: {
        // Matrix R x C times a vector of C gives R; a vector of R times it gives C.
        int other = 2 + random_.below(3);
        if (random_.chance(50))
            return "(" + expression(matrix(n, other), d) + " * " + expression(fvec(other), d) + ")";
        return "(" + expression(fvec(other), d) + " * " + expression(matrix(other, n), d) + ")";
    }
    case 12: return expression(matrix(2 + random_.below(3), n), d) + "[" + std::to_string(random_.below(2)) + "]";
    case 13: {
        int from = 2 + random_.below(3);
        return swizzle_base(fvec(from)) + "." + swizzle(from, n, false);
    }
    case 14:
        if (n == 3)
            return "cross(" + v() + ", " + v() + ")";
        return "min(" + v() + ", " + v() + ")";
    case 15:
        if (n == 3)
            return "reflect(" + v() + ", " + v() + ")";
        return "max(" + v() + ", " + v() + ")";
    case 16:
        if (n == 3 || n == 2)
            return swizzle_base(colour()) + "." + swizzle(4, n, true);
        return "frac(" + v() + ")";
    case 17: return "step(" + v() + ", " + v() + ") + smoothstep(" + v() + ", " + v() + ", " + v() + ")";
    case 18: return "fmod(" + v() + ", 1.5) + floor(" + v() + ")";
    case 19: {
        std::string parts;
        int left = n;
        while (left > 0) {
            int take = left >= 2 && random_.chance(40) ? 2 : 1;
            parts += std::string(parts.empty() ? "" : ", ") + (take == 2 ? expression(fvec(2), d) : s());
            left -= take;
        }
        return word + "(" + parts + ")";
    }
    case 20: return "normalize(" + v() + " + " + word + "(0.5)) * saturate(" + v() + ")";
    default: return word + "(" + expression(ivec(n), d) + ")";
    }
}

std::string Program_writer::ivec_expression(int n, int depth)
{
    int d = depth - 1;
    Ty t = ivec(n);
    auto v = [&] { return expression(t, d); };
    switch (random_.below(5)) {
    case 0: return "(" + v() + " + " + v() + ")";
    case 1: return "(" + v() + " * " + expression(integer(), d) + ")";
    case 2: return "(" + v() + " - " + v() + ")";
    case 3: {
        std::string parts;
        for (int k = 0; k < n; ++k)
            parts += std::string(k ? ", " : "") + expression(integer(), d);
        return type_word(t) + "(" + parts + ")";
    }
    default: return "abs(" + v() + ")";
    }
}

std::string Program_writer::bvec_expression(int n, int depth)
{
    int d = depth - 1;
    static const char* const relations[] = {" < ", " <= ", " > ", " >= ", " == ", " != "};
    switch (random_.below(4)) {
    case 0: return "(" + expression(fvec(n), d) + relations[random_.below(6)] + expression(fvec(n), d) + ")";
    case 1: return "(" + expression(ivec(n), d) + relations[random_.below(6)] + expression(ivec(n), d) + ")";
    case 2: return "!" + expression(bvec(n), d);
    default: {
        std::string parts;
        for (int k = 0; k < n; ++k)
            parts += std::string(k ? ", " : "") + expression(boolean(), d);
        return type_word(bvec(n)) + "(" + parts + ")";
    }
    }
}

std::string Program_writer::colour_expression(int depth)
{
    int d = depth - 1;
    auto c = [&] { return expression(colour(), d); };
    auto s = [&] { return expression(scalar(), d); };
    switch (random_.below(8)) {
    case 0: return "(" + c() + " + " + c() + ")";
    case 1: return "(" + c() + " * " + s() + ")";
    case 2: return "(" + c() + " * " + c() + ")";
    case 3: return "lerp(" + c() + ", " + c() + ", " + s() + ")";
    case 4: return "Color(" + expression(fvec(3), d) + ", " + s() + ")";
    case 5:
        if (!texture_.empty() && in_main_) {
            std::string uv = expression(fvec(2), d);
            if (random_.chance(50))
                return "tex2D(" + texture_ + ", " + uv + ")";
            return "tex2D(" + texture_ + ", " + uv + ", ddx(" + uv + "), ddy(" + uv + "))";
        }
        return "(" + c() + " - " + c() + ")";
    case 6: return "Color(" + expression(matrix(4, 4), d) + " * " + expression(fvec(4), d) + ")";
    default: return "Color(" + s() + ", " + s() + ", " + s() + ", " + s() + ")";
    }
}

std::string Program_writer::matrix_expression(int r, int c, int depth)
{
    int d = depth - 1;
    Ty t = matrix(r, c);
    auto m = [&] { return expression(t, d); };
    switch (random_.below(7)) {
    case 0: return "(" + m() + " + " + m() + ")";
    case 1: return "(" + m() + " * " + expression(scalar(), d) + ")";
    case 2: return "-" + m();
    case 3: return "transpose(" + expression(matrix(c, r), d) + ")";
    case 4: {
        int k = 2 + random_.below(3);
        return "(" + expression(matrix(r, k), d) + " * " + expression(matrix(k, c), d) + ")";
    }
    case 5: return "(" + m() + " - " + m() + ") / 2.0";
    default: return literal(t);
    }
}

// A call of a helper of that result, from the current function if its rank allows it.
std::string Program_writer::call_of(const Ty& t, int depth)
{
    std::vector<const Function*> candidates;
    for (const Function& function : functions_) {
        if (!(function.result == t))
            continue;
        if (current_ && function.rank >= current_->rank)
            continue;
        if (function.method && current_ && !current_->method && !in_main_)
            continue;
        candidates.push_back(&function);
    }
    if (candidates.empty())
        return std::string();
    const Function& function = *candidates[size_t(random_.below(int(candidates.size())))];
    std::string arguments;
    for (size_t k = 0; k < function.parameters.size(); ++k) {
        std::string argument;
        if (function.qualifiers[k] == "in") {
            argument = expression(function.parameters[k].ty, depth - 1);
        } else {
            argument = place_of(function.parameters[k].ty);
            if (argument.empty())
                return std::string();
        }
        arguments += (k ? ", " : "") + argument;
    }
    return function.name + "(" + arguments + ")";
}

void Program_writer::block(int count, int depth)
{
    line("{");
    ++indent_;
    scopes_.emplace_back();
    statements(count, depth);
    scopes_.pop_back();
    --indent_;
    line("}");
}

void Program_writer::statements(int count, int depth)
{
    for (int k = 0; k < count; ++k)
        statement(depth);
}

void Program_writer::statement(int depth)
{
    int choice = random_.below(depth > 0 ? 12 : 7);
    switch (choice) {
    case 0:
    case 1:
    case 2: declaration(); return;
    case 3:
    case 4:
    case 5: assignment(); return;
    case 6: call_statement(); return;
    case 7:
    case 8: if_statement(depth - 1); return;
    case 9:
    case 10: loop(depth - 1); return;
    default: switch_statement(depth - 1); return;
    }
}

void Program_writer::declaration()
{
    std::vector<Ty> types = value_types();
    Ty t = random_.pick(types);
    std::string name = fresh("v");
    if (random_.chance(12)) {
        // A local array with values.
        Ty element = random_.chance(60) ? scalar() : (random_.chance(50) ? fvec(3) : colour());
        int size = 2 + random_.below(3);
        std::string values;
        for (int k = 0; k < size; ++k)
            values += (k ? ", " : "") + expression(element, 1);
        line(type_word(element) + " " + name + "[" + std::to_string(size) + "] = {" + values + "};");
        scopes_.back().push_back(Var{name, element, size, true});
        return;
    }
    if (random_.chance(8) && !fields_.empty()) {
        line(std::string(struct_name) + " " + name + ";");
        for (const Field& field : fields_)
            line(name + "." + field.name + " = " + expression(field.ty, 2) + ";");
        scopes_.back().push_back(Var{name, pack(), 0, true});
        return;
    }
    line(type_word(t) + " " + name + " = " + expression(t, 3) + ";");
    scopes_.back().push_back(Var{name, t, 0, true});
}

void Program_writer::assignment()
{
    std::vector<Ty> types = value_types();
    Ty t = random_.pick(types);
    std::string place = place_of(t);
    if (place.empty()) {
        declaration();
        return;
    }
    int op = random_.below(8);
    bool numeric = t.kind == SCALAR || t.kind == FVEC || t.kind == COLOR || t.kind == INT || t.kind == IVEC ||
                   t.kind == MATRIX;
    if (numeric && op == 0) {
        line(place + " += " + expression(t, 2) + ";");
    } else if (numeric && op == 1) {
        line(place + " -= " + expression(t, 2) + ";");
    } else if ((t.kind == SCALAR || t.kind == FVEC || t.kind == COLOR || t.kind == MATRIX) && op == 2) {
        line(place + " *= " + expression(scalar(), 2) + ";");
    } else if (t.kind == FVEC && op == 3) {
        line(place + " *= " + expression(matrix(t.n, t.n), 2) + ";");
    } else if (t.kind == MATRIX && op == 3) {
        line(place + " *= " + expression(matrix(t.cols, t.cols), 2) + ";");
    } else if (t.kind == FVEC && op == 4) {
        line(place + "." + swizzle(t.n, 1, false) + " = " + expression(scalar(), 2) + ";");
    } else if (t.kind == INT && op == 5) {
        static const char* const steps[] = {"++;", "--;"};
        if (random_.chance(50))
            line(place + steps[random_.below(2)]);
        else
            line(std::string(random_.chance(50) ? "++" : "--") + place + ";");
    } else if ((t.kind == SCALAR || t.kind == FVEC) && op == 5) {
        line(place + " /= " + expression(scalar(), 1) + " + 4.0;");
    } else {
        line(place + " = " + expression(t, 3) + ";");
    }
}

void Program_writer::call_statement()
{
    std::vector<const Function*> candidates;
    for (const Function& function : functions_)
        if ((!current_ || function.rank < current_->rank) && !(function.method && current_ && !current_->method))
            candidates.push_back(&function);
    if (candidates.empty()) {
        assignment();
        return;
    }
    const Function& function = *candidates[size_t(random_.below(int(candidates.size())))];
    std::string call = call_of(function.result, 2);
    if (call.empty() || call.compare(0, function.name.size() + 1, function.name + "(") != 0) {
        assignment();
        return;
    }
    line(call + ";");
}

void Program_writer::if_statement(int depth)
{
    line("if (" + expression(boolean(), 2) + ")");
    block(1 + random_.below(2), depth);
    if (random_.chance(50)) {
        line("else");
        block(1 + random_.below(2), depth);
    }
}

void Program_writer::loop(int depth)
{
    std::string counter = fresh("i");
    int kind = random_.below(3);
    ++loop_depth_;
    if (kind == 0) {
        line("for (Int " + counter + " = 0; " + counter + " < " + std::to_string(1 + random_.below(3)) + "; " + counter + "++)");
        scopes_.emplace_back();
        scopes_.back().push_back(Var{counter, integer(), 0, false});
        block(1 + random_.below(2), depth);
        scopes_.pop_back();
    } else if (kind == 1) {
        line("Int " + counter + " = 0;");
        line("while (" + counter + " < " + std::to_string(1 + random_.below(3)) + ")");
        line("{");
        ++indent_;
        scopes_.emplace_back();
        statements(1 + random_.below(2), depth);
        scopes_.pop_back();
        line(counter + "++;");
        --indent_;
        line("}");
    } else {
        line("Int " + counter + " = 0;");
        line("do");
        line("{");
        ++indent_;
        scopes_.emplace_back();
        statements(1 + random_.below(2), depth);
        if (random_.chance(30))
            line("if (" + expression(boolean(), 1) + ") break;");
        scopes_.pop_back();
        line(counter + " += 1;");
        --indent_;
        line("}");
        line("while (" + counter + " < 2);");
    }
    --loop_depth_;
}

void Program_writer::switch_statement(int depth)
{
    line("switch (" + expression(integer(), 2) + ")");
    line("{");
    std::vector<std::string> labels = {"0", "1", "2", "3"};
    for (const std::string& value : enum_values_)
        labels.push_back(value);
    int cases = 1 + random_.below(3);
    std::vector<std::string> used;
    for (int k = 0; k < cases; ++k) {
        std::string label = random_.pick(labels);
        if (std::find(used.begin(), used.end(), label) != used.end())
            continue;
        used.push_back(label);
        line("case " + label + ":");
        ++indent_;
        scopes_.emplace_back();
        statements(1 + random_.below(2), depth);
        scopes_.pop_back();
        line("break;");
        --indent_;
    }
    if (random_.chance(60)) {
        line("default:");
        ++indent_;
        scopes_.emplace_back();
        statements(1, depth);
        scopes_.pop_back();
        line("break;");
        --indent_;
    }
    line("}");
}

void Program_writer::file_level()
{
    // A struct with fields named like words of the targets.
    int count = 2 + random_.below(4);
    std::vector<std::string> names = field_names;
    std::vector<Ty> types = {scalar(), scalar(), fvec(3), colour(), integer(), matrix(2, 3), bvec(2)};
    line(std::string("struct ") + struct_name);
    line("{");
    ++indent_;
    fields_.push_back(Field{"weight_f", scalar()});
    line("Scalar weight_f;");
    for (int k = 0; k < count; ++k) {
        size_t at = size_t(random_.below(int(names.size())));
        Field field{names[at], random_.pick(types)};
        names.erase(names.begin() + long(at));
        line(type_word(field.ty) + " " + field.name + ";");
        fields_.push_back(field);
    }
    --indent_;
    line("};");
    line("");
    if (random_.chance(70)) {
        std::string stem = fresh("MODE");
        enum_values_ = {stem + "_A", stem + "_B", stem + "_C"};
        line("enum " + fresh("Mode") + " { " + enum_values_[0] + ", " + enum_values_[1] + " = 3, " + enum_values_[2] +
             " };");
        line("");
    }
    // File-level values and arrays.
    scopes_.emplace_back();
    for (int k = 0, n = random_.below(3); k < n; ++k) {
        std::string name = fresh("table");
        int size = 2 + random_.below(3);
        std::string values;
        for (int v = 0; v < size; ++v)
            values += (v ? ", " : "") + random_.pick(scalar_literals);
        line("Scalar " + name + "[" + std::to_string(size) + "] = {" + values + "};");
        scopes_.back().push_back(Var{name, scalar(), size, false});
    }
    for (int k = 0, n = random_.below(3); k < n; ++k) {
        std::vector<Ty> kinds = {scalar(), fvec(3), colour(), integer()};
        Ty t = random_.pick(kinds);
        std::string name = fresh("file");
        line(type_word(t) + " " + name + " = " + literal(t) + ";");
        scopes_.back().push_back(Var{name, t, 0, false});
    }
    line("");
}

void Program_writer::helper(Function& function)
{
    current_ = &function;
    std::string parameters;
    scopes_.emplace_back();
    for (size_t k = 0; k < function.parameters.size(); ++k) {
        const Var& parameter = function.parameters[k];
        const std::string& qualifier = function.qualifiers[k];
        parameters += (k ? ", " : "") + (qualifier == "in" ? std::string() : qualifier + " ") + type_word(parameter.ty) +
                      " " + parameter.name;
        scopes_.back().push_back(parameter);
    }
    line(type_word(function.result) + " " + function.name + "(" + parameters + ")");
    line("{");
    ++indent_;
    for (size_t k = 0; k < function.parameters.size(); ++k)
        if (function.qualifiers[k] == "out")
            line(function.parameters[k].name + " = " + literal(function.parameters[k].ty) + ";");
    statements(1 + random_.below(4), 2);
    line("return " + expression(function.result, 3) + ";");
    --indent_;
    line("}");
    line("");
    scopes_.pop_back();
    current_ = nullptr;
}

void Program_writer::shader()
{
    std::vector<Function*> methods;
    for (Function& function : functions_)
        if (function.method)
            methods.push_back(&function);
    line("shader " + fresh("Generated"));
    line("{");
    line("input:");
    ++indent_;
    scopes_.emplace_back();
    std::vector<Ty> input_types = {scalar(), scalar(), fvec(3), colour(), integer(), boolean(), matrix(3, 3)};
    for (int k = 0, n = 1 + random_.below(4); k < n; ++k) {
        Ty t = random_.pick(input_types);
        std::string name = fresh(random_.chance(30) ? "matrix" : "gain");
        std::string annotations;
        if (t.kind == SCALAR && random_.chance(50))
            annotations = random_.chance(50) ? " { hard_range(0.0, 4.0); display_name(\"Gain\"); }" : " { hard_range(0.0); }";
        line(type_word(t) + " " + name + " = " + literal(t) + annotations + ";");
        scopes_.back().push_back(Var{name, t, 0, true});
    }
    if (random_.chance(40)) {
        texture_ = fresh("map");
        line("Texture2d " + texture_ + ";");
    }
    --indent_;
    line("output:");
    ++indent_;
    line("Color result;");
    std::vector<Var> outputs;
    if (random_.chance(40)) {
        std::vector<Ty> kinds = value_types();
        Ty t = random_.pick(kinds);
        outputs.push_back(Var{fresh("extra"), t, 0, true});
        line(type_word(t) + " " + outputs.back().name + ";");
    }
    for (Function* method : methods)
        helper(*method);
    line("void main()");
    line("{");
    ++indent_;
    in_main_ = true;
    Function main_function;
    main_function.rank = 1000;
    main_function.method = true;
    current_ = &main_function;
    scopes_.emplace_back();
    scopes_.back().push_back(Var{"position", fvec(3), 0, false});
    scopes_.back().push_back(Var{"normal", fvec(3), 0, false});
    scopes_.back().push_back(Var{"direction", fvec(3), 0, false});
    scopes_.back().push_back(Var{"dot_nd", scalar(), 0, false});
    scopes_.back().push_back(Var{"animation_time", scalar(), 0, false});
    scopes_.back().push_back(Var{"backside", boolean(), 0, false});
    scopes_.back().push_back(Var{"object_to_world", matrix(4, 4), 0, false});
    scopes_.back().push_back(Var{"parametric_uv", fvec(2), 0, false});
    line("result = " + literal(colour()) + ";");
    scopes_.back().push_back(Var{"result", colour(), 0, true});
    for (const Var& output : outputs) {
        line(output.name + " = " + literal(output.ty) + ";");
        scopes_.back().push_back(output);
    }
    statements(3 + random_.below(8), 3);
    line("result = " + expression(colour(), 3) + ";");
    scopes_.pop_back();
    current_ = nullptr;
    in_main_ = false;
    --indent_;
    line("}");
    --indent_;
    scopes_.pop_back();
    line("};");
}

std::string Program_writer::write()
{
    file_level();
    // Helpers and methods, each ranked: one calls only those of lower rank, defined before or
    // after it.
    int count = random_.below(5);
    int method_count = random_.below(3);
    std::vector<int> ranks;
    for (int k = 0; k < count + method_count; ++k)
        ranks.push_back(k);
    for (size_t k = ranks.size(); k > 1; --k)
        std::swap(ranks[k - 1], ranks[size_t(random_.below(int(k)))]);
    std::vector<std::string> names = helper_names;
    std::vector<Ty> results = {scalar(), fvec(3), colour(), integer(), boolean(), fvec(2), matrix(2, 3)};
    std::vector<Ty> parameter_types = value_types();
    for (int k = 0; k < count + method_count; ++k) {
        Function function;
        size_t at = size_t(random_.below(int(names.size())));
        function.name = names[at] + "_" + std::to_string(k);
        if (random_.chance(50))
            function.name = names[at];
        names.erase(names.begin() + long(at));
        function.result = random_.pick(results);
        function.rank = ranks[size_t(k)];
        function.method = k >= count;
        for (int p = 0, n = 1 + random_.below(3); p < n; ++p) {
            function.parameters.push_back(Var{fresh("p"), random_.pick(parameter_types), 0, true});
            int q = random_.below(10);
            function.qualifiers.push_back(q < 6 ? "in" : q < 8 ? "out" : "inout");
        }
        functions_.push_back(function);
    }
    // Methods are shader-scoped: they may read and write the inputs, which are in scope when
    // shader() prints them. Helpers see only the file.
    for (Function& function : functions_)
        if (!function.method)
            helper(function);
    shader();
    return out_.str();
}

// Colour programs

// A scalar expression over constants and its value: each form is one the language and the
// targets must agree on.
class Colour_writer {
public:
    explicit Colour_writer(uint64_t seed) : random_(seed) {}
    Generated_program write();

private:
    struct Valued {
        std::string text;
        double value;
    };
    Valued constant();
    Valued scalar(int depth);
    Valued matrix_vector(int depth);
    std::string number(double value)
    {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%.4f", value);
        return buffer;
    }

    Random random_;
    std::vector<double> table_;
    std::vector<std::string> helpers_;
};

Colour_writer::Valued Colour_writer::constant()
{
    double value = (1 + random_.below(16)) / 16.0;
    if (random_.chance(20) && !table_.empty()) {
        int at = random_.below(int(table_.size()));
        return {"table[" + std::to_string(at) + "]", table_[size_t(at)]};
    }
    if (random_.chance(15))
        return {"pack.weight", 0.375};
    return {number(value), value};
}

// A component of a product with a matrix given by rows, of a shape picked at random.
Colour_writer::Valued Colour_writer::matrix_vector(int depth)
{
    int rows = 2 + random_.below(3), cols = 2 + random_.below(3);
    std::vector<double> m(size_t(rows * cols));
    std::string entries;
    for (size_t k = 0; k < m.size(); ++k) {
        m[k] = (random_.below(9) - 4) / 8.0;
        entries += (k ? ", " : "") + number(m[k]);
    }
    std::string word = "Matrix" + std::to_string(rows) + "x" + std::to_string(cols);
    bool matrix_first = random_.chance(50);
    int length = matrix_first ? cols : rows;
    std::vector<Valued> v;
    std::string vector_text = "Vector" + std::to_string(length) + "(";
    for (int k = 0; k < length; ++k) {
        v.push_back(scalar(depth - 1));
        vector_text += (k ? ", " : "") + v.back().text;
    }
    vector_text += ")";
    int pick = random_.below(matrix_first ? rows : cols);
    double value = 0;
    if (matrix_first)
        for (int c = 0; c < cols; ++c)
            value += m[size_t(pick * cols + c)] * v[size_t(c)].value;
    else
        for (int r = 0; r < rows; ++r)
            value += v[size_t(r)].value * m[size_t(r * cols + pick)];
    std::string product = matrix_first ? "(" + word + "(" + entries + ") * " + vector_text + ")"
                                       : "(" + vector_text + " * " + word + "(" + entries + "))";
    if (random_.chance(30) && rows == cols) {
        // Through a product of matrices: (M * N)[i][j] with N the identity scaled by 2.
        std::string twice = "Matrix" + std::to_string(cols) + "x" + std::to_string(cols) + "(";
        for (int r = 0; r < cols; ++r)
            for (int c = 0; c < cols; ++c)
                twice += std::string(r + c ? ", " : "") + (r == c ? "2.0" : "0.0");
        twice += ")";
        int r = random_.below(rows), c = random_.below(cols);
        return {"(" + word + "(" + entries + ") * " + twice + ")[" + std::to_string(r) + "][" + std::to_string(c) + "]",
                2 * m[size_t(r * cols + c)]};
    }
    return {product + "[" + std::to_string(pick) + "]", value};
}

Colour_writer::Valued Colour_writer::scalar(int depth)
{
    if (depth <= 0)
        return constant();
    Valued a = scalar(depth - 1);
    Valued b = scalar(depth - 1);
    switch (random_.below(12)) {
    case 0: return {"(" + a.text + " + " + b.text + ")", a.value + b.value};
    case 1: return {"(" + a.text + " - " + b.text + ")", a.value - b.value};
    case 2: return {"(" + a.text + " * " + b.text + ")", a.value * b.value};
    case 3: return {"min(" + a.text + ", " + b.text + ")", std::min(a.value, b.value)};
    case 4: return {"max(" + a.text + ", " + b.text + ")", std::max(a.value, b.value)};
    case 5: return {"abs(" + a.text + ")", std::fabs(a.value)};
    case 6: return {"lerp(" + a.text + ", " + b.text + ", 0.25)", a.value + (b.value - a.value) * 0.25};
    case 7: return matrix_vector(depth - 1);
    case 8:
        if (std::fabs(a.value - b.value) > 1e-3)
            return {"(" + a.text + " < " + b.text + " ? " + a.text + " : " + b.text + ")", std::min(a.value, b.value)};
        return a;
    case 9:
        if (!helpers_.empty())
            return {helpers_[0] + "(" + a.text + ", " + b.text + ")", a.value * 0.5 + b.value};
        return b;
    case 10:
        return {"dot(Vector2(" + a.text + ", " + b.text + "), Vector2(0.5, 0.25))", a.value * 0.5 + b.value * 0.25};
    default: return {"clamp(" + a.text + ", 0.0, 1.0)", std::min(1.0, std::max(0.0, a.value))};
    }
}

Generated_program Colour_writer::write()
{
    std::ostringstream out;
    out << "struct Pack { Scalar weight; Scalar input; };\n";
    int size = 2 + random_.below(3);
    out << "Scalar table[" << size << "] = {";
    for (int k = 0; k < size; ++k) {
        table_.push_back((1 + random_.below(8)) / 8.0);
        out << (k ? ", " : "") << number(table_.back());
    }
    out << "};\n";
    // A helper named like a built-in of GLSL, defined after a helper that calls it.
    helpers_.push_back("mix");
    out << "Scalar mix(Scalar a, Scalar b);\n";
    out << "Scalar first(Scalar a) { return mix(a, 0.0); }\n";
    out << "Scalar mix(Scalar a, Scalar b) { return a * 0.5 + b; }\n";
    out << "shader Colour {\noutput:\n    Color result;\n    void main() {\n";
    out << "        Pack pack;\n        pack.weight = 0.375;\n        pack.input = first(0.5);\n";
    Generated_program program;
    program.has_colour = true;
    for (int channel = 0; channel < 3; ++channel) {
        Valued v = scalar(1 + random_.below(3));
        out << "        Scalar c" << channel << " = " << v.text << ";\n";
        program.colour[channel] = std::min(1.0, std::max(0.0, v.value));
    }
    out << "        result = Color(saturate(c0), saturate(c1), saturate(c2), 1.0);\n    }\n};\n";
    program.source = out.str();
    return program;
}

}  // namespace

Generated_program generate_program(uint64_t seed)
{
    Generated_program program;
    program.source = Program_writer(seed).write();
    return program;
}

Generated_program generate_colour_program(uint64_t seed)
{
    return Colour_writer(seed).write();
}

}  // namespace vorn_fuzz

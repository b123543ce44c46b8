#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "db/element.h"
#include "front12/ovrel_parser.h"
#include "syntax_tree/builtins.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "syntax_tree/semantic_pass.h"

using namespace QZ::SYNTAX_TREE;

namespace {

const std::vector<Builtin_declaration>& declarations()
{
    static const std::vector<Builtin_declaration> all = builtin_declarations();
    return all;
}

std::map<std::string, int> counts_by_name()
{
    std::map<std::string, int> counts;
    for (const Builtin_declaration& d : declarations())
        if (!d.is_struct)
            ++counts[d.name];
    return counts;
}

std::set<std::string> signatures()
{
    std::set<std::string> all;
    for (const Builtin_declaration& d : declarations())
        all.insert(d.signature());
    return all;
}

size_t position_of(const std::string& signature)
{
    const auto& all = declarations();
    for (size_t i = 0; i < all.size(); ++i)
        if (all[i].signature() == signature)
            return i;
    return size_t(-1);
}

std::unique_ptr<Type> type_of_word(const std::string& word)
{
    int32_t code = language_word_code(word.c_str());
    if (code < 0)
        return std::make_unique<Type>(word.c_str(), TYPE_STRUCT);
    return std::unique_ptr<Type>(Type::builtin(uint8_t(code)));
}

// The prototypes of name that a call with these argument types can reach: the exact one if
// there is one, else every one whose differing parameters accept the arguments by conversion.
std::vector<std::string> viable(const std::string& name, const std::vector<std::string>& arguments)
{
    std::vector<std::string> found;
    for (const Builtin_declaration& d : declarations()) {
        if (d.is_struct || d.name != name || d.parameters.size() != arguments.size())
            continue;
        bool exact = true;
        bool fits = true;
        for (size_t i = 0; i < arguments.size(); ++i) {
            if (d.parameters[i].type == arguments[i])
                continue;
            exact = false;
            if (!convertible(type_of_word(arguments[i]).get(), type_of_word(d.parameters[i].type).get()))
                fits = false;
        }
        if (exact)
            return {d.signature()};
        if (fits)
            found.push_back(d.signature());
    }
    return found;
}

// Kinds and texts of a tree, one node per line, positions left out.
std::string shape(const St_node* node, int depth = 0)
{
    std::string text;
    for (; node; node = node->next_sibling) {
        text += std::string(size_t(depth) * 2, ' ') + St_node::kind_name(node->kind);
        if (node->has_text())
            text += " \"" + std::string(node->text_view()) + "\"";
        text += "\n" + shape(node->first_child, depth + 1);
        if (depth == 0)
            break;
    }
    return text;
}

// The source text that declares d.
std::string source_of(const Builtin_declaration& d)
{
    if (!d.is_struct)
        return d.signature() + ";";
    std::string text = "struct " + d.name + " {";
    for (const Builtin_parameter& member : d.parameters)
        text += " " + member.type + " " + member.name + ";";
    return text + " };";
}

}  // namespace

TEST(BuiltinsState, VariableNamesIndicesAndTypes)
{
    Mod_syntax_tree& synt = *mod_syntax_tree;
    EXPECT_EQ(synt.state_variable_index("position"), 0);
    EXPECT_STREQ(synt.state_variable_name(21), "position");
    EXPECT_EQ(synt.state_variable_type(21)->text(), "Vector3");
    EXPECT_EQ(synt.state_variable_index("animation_time"), 22);
    EXPECT_EQ(synt.state_variable_index("incident_ior"), 20);
    EXPECT_EQ(synt.state_variable_index("window_bottom"), 43);
    EXPECT_EQ(synt.state_variable_index("internal_to_object"), 44);
    EXPECT_EQ(synt.state_variable_index("raster_to_camera"), 63);
    EXPECT_EQ(synt.state_variable_index("light_position"), 64);
    EXPECT_EQ(synt.state_variable_index("volume_input"), 78);
    EXPECT_EQ(synt.state_variable_index("lights"), 80);
    EXPECT_EQ(synt.state_variable_index("Position"), -1);
    EXPECT_EQ(synt.state_variable_index(nullptr), -1);
    EXPECT_STREQ(synt.state_variable_name(81), "<unknown state variable>");
    EXPECT_STREQ(synt.state_variable_name(-1), "<unknown state variable>");
    EXPECT_EQ(synt.state_variable_type(81), nullptr);

    // The transforms run internal, world, object, camera, raster to the other four.
    const char* spaces[] = {"internal", "world", "object", "camera", "raster"};
    const char* targets[5][4] = {{"object", "world", "camera", "raster"},
                                 {"internal", "object", "camera", "raster"},
                                 {"internal", "world", "camera", "raster"},
                                 {"internal", "world", "object", "raster"},
                                 {"internal", "object", "world", "camera"}};
    for (int s = 0; s < 5; ++s)
        for (int t = 0; t < 4; ++t)
            EXPECT_EQ(synt.state_variable_name(44 + 4 * s + t), std::string(spaces[s]) + "_to_" + targets[s][t]);

    // The type table, group by group; every index of 0 to 78 stands in exactly one group.
    const std::vector<std::pair<std::string, std::vector<int>>> groups = {
        {"Vector3", {0, 1, 2, 3, 4, 21, 64, 65, 66, 69}},
        {"Vector2", {5, 6, 35, 70}},
        {"Vector4[256]", {7, 71}},
        {"Vector3[256]", {8, 9, 17, 18, 72, 73}},
        {"Scalar", {10, 11, 16, 19, 20, 22, 24, 25, 26, 27, 28, 30, 31, 32, 33, 34, 36, 37, 67, 68, 75, 76, 77}},
        {"Matrix3x3[256]", {12}},
        {"Bool", {13, 29}},
        {"String", {14, 15, 74}},
        {"Int", {23, 38, 39, 40, 41, 42, 43}},
        {"Matrix4x4", {44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 63}},
        {"Color", {78}},
    };
    std::set<int> seen;
    for (const auto& [text, indices] : groups) {
        for (int index : indices) {
            const Type* type = synt.state_variable_type(index);
            ASSERT_NE(type, nullptr) << index;
            EXPECT_EQ(type->text(), text) << index;
            EXPECT_TRUE(seen.insert(index).second) << index;
        }
    }
    EXPECT_EQ(seen.size(), 79u);
    EXPECT_EQ(synt.state_variable_type(79), nullptr);
    EXPECT_EQ(synt.state_variable_type(80), nullptr);
}

TEST(BuiltinsState, FunctionNamesAndIndices)
{
    Mod_syntax_tree& synt = *mod_syntax_tree;
    const char* names[22] = {"get_texture_component", "get_texture_dimension", "is_ray_dispersal_group",
                             "is_ray_history_group", "trace", "trace_immediate", "get_shadowing", "get_trace_depth",
                             "occlusion", "get_shader_parameter", "error", "warning", "info", "progress",
                             "get_transform", "transform_point", "transform_vector", "transform_normal",
                             "reflect_environment", "refract_environment", "trace_environment", "irradiance"};
    for (int i = 0; i < 22; ++i) {
        EXPECT_EQ(synt.state_function_index(names[i]), i) << names[i];
        EXPECT_STREQ(synt.state_function_name(i), names[i]);
        EXPECT_NE(synt.state_function_type(i), nullptr) << i;
    }
    EXPECT_EQ(synt.state_function_index("normal"), -1);
    EXPECT_STREQ(synt.state_function_name(22), "<unknown state function>");
    EXPECT_EQ(synt.state_function_type(22), nullptr);
    EXPECT_EQ(synt.state_function_type(15)->text(), "Vector3");
    EXPECT_EQ(synt.state_function_type(10)->code(), TYPE_ILLEGAL);
}

TEST(BuiltinsState, TreeClassFactoriesAreRegistered)
{
    QZ::SERIAL::Deserialization_manager* manager = mod_syntax_tree->get_deserialization_manager();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager, &QZ::SERIAL::deserialization_manager());
    for (QZ::SERIAL::Class_id id : {QZ::DB::_BNT, QZ::DB::NAMED_TYPE_CLASS_ID, QZ::DB::_EnT}) {
        std::unique_ptr<QZ::SERIAL::Serializable> made(manager->construct(id));
        ASSERT_NE(made, nullptr) << std::hex << id;
        EXPECT_EQ(made->get_class_id(), id);
    }
    EXPECT_NE(dynamic_cast<Named_type*>(std::unique_ptr<QZ::SERIAL::Serializable>(
                  manager->construct(QZ::DB::NAMED_TYPE_CLASS_ID)).get()),
              nullptr);
}

TEST(BuiltinsDeclarations, CountsPerFamily)
{
    std::map<std::string, int> counts = counts_by_name();
    const std::map<std::string, int> expected = {
        // Bool, Int, Scalar; 9 vectors; 3 colour pairs; String.
        {"operator==", 16}, {"operator!=", 16},
        // Int, Scalar and 6 vectors of the I and S families.
        {"operator<", 8}, {"operator<=", 8}, {"operator>", 8}, {"operator>=", 8},
        {"operator!", 4},
        // 4 (T,T), and (T,Bool), (Bool,T) for the 3 vectors.
        {"operator&&", 10}, {"operator||", 10}, {"operator^^", 10},
        // 8 (T,T), 12 vector with its scalar, 5 colour rows, 9 (M,M), 18 M with Scalar;
        // operator+ also joins Strings.
        {"operator+", 53}, {"operator-", 52},
        // as + and 27 products, 9 M*V, 9 V*M, less the 3 square products already there.
        {"operator*", 94},
        // 8 + 12 + 5 + 9 (M over Scalar).
        {"operator/", 34},
        {"operator++", 8}, {"operator--", 8},
        // The rows whose result is the left type: 8 + 6 + 3 + 9 + 9; += also for String.
        {"operator+=", 36}, {"operator-=", 35},
        // and 6 non-square RxC * CxC, 3 vectors times a square matrix.
        {"operator*=", 44},
        {"operator/=", 26},
        // 4 B + 4 I + 4 S + Color + 9 M + 3 mixed; Ray and four more types; String; 8 textures.
        {"operator=", 39},
        {"Ray", 1}, {"Trace_options", 1}, {"Occlusion_options", 1}, {"Light_iterator", 1},
        {"Sample_iterator", 1}, {"String", 2},
        {"all", 4}, {"any", 4}, {"abs", 8}, {"sign", 8}, {"clamp", 8}, {"fmod", 7}, {"pow", 7},
        {"max", 8}, {"min", 8}, {"atan2", 4}, {"modf", 4}, {"sincos", 4}, {"smoothstep", 4},
        {"step", 4}, {"lerp", 9}, {"ddx", 4}, {"ddy", 4}, {"transpose", 9}, {"length", 4},
        {"distance", 4}, {"faceforward", 9}, {"normalize", 9}, {"dot", 9}, {"cross", 1},
        {"reflect", 1}, {"refract", 1}, {"tex1D", 2}, {"tex2D", 2}, {"tex3D", 2}, {"texCUBE", 2},
    };
    for (const auto& [name, count] : expected) {
        EXPECT_EQ(counts[name], count) << name;
        counts.erase(name);
    }
    for (const char* name : {"acos", "asin", "atan", "ceil", "cos", "degrees", "exp", "exp2", "floor", "frac", "log",
                             "log2", "log10", "radians", "round", "rsqrt", "saturate", "sin", "sqrt", "tan"}) {
        EXPECT_EQ(counts[name], 4) << name;
        counts.erase(name);
    }
    // What remains are the texture sampler constructors: 3 for a scalar blur, 5 otherwise.
    int samplers = 0;
    for (const auto& [name, count] : counts) {
        EXPECT_EQ(name.rfind("Texture_sampler_", 0), 0u) << name;
        EXPECT_EQ(count, name.find("scalar") != std::string::npos ? 3 : 5) << name;
        ++samplers;
    }
    EXPECT_EQ(samplers, 16);
    EXPECT_EQ(counts_by_name().count("fract"), 0u);
    EXPECT_EQ(counts_by_name().count("log_10"), 0u);
    EXPECT_EQ(signatures().size(), declarations().size()) << "a signature is declared twice";
}

TEST(BuiltinsDeclarations, SampleSignatures)
{
    const std::set<std::string> all = signatures();
    const char* present[] = {
        "Bool operator==(Bool x, Bool y)",
        "Vector3b operator==(Vector3 x, Vector3 y)",
        "Vector2b operator!=(Vector2i x, Vector2i y)",
        "Vector4b operator==(Color x, Vector4 y)",
        "Vector4b operator!=(Color x, Color y)",
        "Bool operator==(String x, String y)",
        "Vector4b operator>=(Vector4 x, Vector4 y)",
        "Bool operator<(Int x, Int y)",
        "Vector3b operator!(Vector3b x)",
        "Vector3b operator&&(Vector3b x, Bool y)",
        "Vector2b operator^^(Bool x, Vector2b y)",
        "Vector3 operator*(Vector3 x, Scalar y)",
        "Vector2i operator-(Int x, Vector2i y)",
        "Color operator+(Scalar x, Color y)",
        "Color operator-(Color x, Vector4 y)",
        "Matrix3x2 operator+(Matrix3x2 x, Matrix3x2 y)",
        "Matrix2x4 operator*(Scalar x, Matrix2x4 y)",
        "Matrix2x3 operator*(Matrix2x4 x, Matrix4x3 y)",
        "Matrix4x4 operator*(Matrix4x4 x, Matrix4x4 y)",
        "Vector3 operator*(Matrix3x4 x, Vector4 y)",
        "Vector4 operator*(Vector3 x, Matrix3x4 y)",
        "Matrix3x2 operator/(Matrix3x2 x, Scalar y)",
        "Int operator++(inout Int x)",
        "Vector4 operator--(inout Vector4 x)",
        "Vector3 operator+=(inout Vector3 x, Scalar y)",
        "Matrix2x3 operator*=(inout Matrix2x3 x, Matrix3x3 y)",
        "Vector3 operator*=(inout Vector3 x, Matrix3x3 y)",
        "Color operator/=(inout Color x, Scalar y)",
        "Vector2b operator=(out Vector2b x, Vector2b y)",
        "Scalar operator=(out Scalar x, Int y)",
        "Color operator=(out Color x, Vector4 y)",
        "Vector4 operator=(out Vector4 x, Color y)",
        "Matrix4x2 operator=(out Matrix4x2 x, Matrix4x2 y)",
        "Ray Ray(Vector3 o, Vector3 d)",
        "Ray operator=(out Ray x, Ray y)",
        "Trace_options Trace_options()",
        "Sample_iterator Sample_iterator(Int n)",
        "String String()",
        "String String(String s)",
        "String operator+=(inout String x, String y)",
        "Texture_cube operator=(out Texture_cube x, Texture_cube y)",
        "String operator=(out String x, Texture1d y)",
        "Texture_sampler_1d_scalar Texture_sampler_1d_scalar(Texture1d texture)",
        "Texture_sampler_2d_vector2 Texture_sampler_2d_vector2(Texture2d texture, Vector2 blur)",
        "Texture_sampler_cube_vector4 Texture_sampler_cube_vector4(Texture_cube texture, Scalar blur, String filter)",
        "Bool all(Vector3b x)",
        "Bool any(Bool x)",
        "Vector2i abs(Vector2i x)",
        "Vector3 clamp(Vector3 x, Vector3 min, Vector3 max)",
        "Vector4 pow(Vector4 a, Scalar b)",
        "Int min(Int a, Int b)",
        "Scalar log10(Scalar x)",
        "Vector2 frac(Vector2 x)",
        "Vector3 atan2(Vector3 y, Vector3 x)",
        "Vector3 modf(Vector3 x, out Vector3 i)",
        "void sincos(Scalar x, out Scalar s, out Scalar c)",
        "Vector4 smoothstep(Vector4 a, Vector4 b, Vector4 x)",
        "Vector2 lerp(Vector2 a, Vector2 b, Scalar x)",
        "Color lerp(Color a, Color b, Color x)",
        "Vector3 ddy(Vector3 a)",
        "Matrix3x2 transpose(Matrix2x3 tm)",
        "Matrix4x4 transpose(Matrix4x4 tm)",
        "Scalar length(Color x)",
        "Scalar distance(Vector2 x, Vector2 y)",
        "Vector3 faceforward(Vector3 n, Vector3 i, Vector3 ng)",
        "Vector4 normalize(Vector4 x)",
        "Scalar dot(Vector3 x, Vector3 y)",
        "Vector3 cross(Vector3 a, Vector3 b)",
        "Vector3 reflect(Vector3 i, Vector3 n)",
        "Vector3 refract(Vector3 i, Vector3 n, Scalar eta)",
        "Color tex1D(Texture1d tex, Scalar coord)",
        "Color tex2D(Texture2d tex, Vector2 coord, Vector2 coord_dx, Vector2 coord_dy)",
        "Color texCUBE(Texture_cube tex, Vector3 coord)",
        "struct Ray { Vector3 origin; Vector3 direction; }",
        "struct Trace_options { }",
        "struct Texture_sampler_3d_vector3 { }",
    };
    for (const char* signature : present)
        EXPECT_EQ(all.count(signature), 1u) << signature;
    const char* absent[] = {
        "Matrix3x2 operator/(Scalar x, Matrix3x2 y)",      // M only over Scalar
        "Vector3 operator+=(inout Scalar x, Vector3 y)",   // the result would not fit the left
        "Vector3 operator*(Vector3 x, Int y)",             // Int reaches Scalar by conversion
        "Bool operator<(Bool x, Bool y)",                  // relational is I and S only
        "Bool operator==(Vector3 x, Vector3 y)",           // vectors compare component-wise
        "Vector4 illumination(Scalar dot_nl, Scalar dot_nh, Scalar exponent)",  // in the prelude text
        "Vector3 operator*=(inout Vector3 x, Matrix3x4 y)",
    };
    for (const char* signature : absent)
        EXPECT_EQ(all.count(signature), 0u) << signature;
}

TEST(BuiltinsDeclarations, OrderOfTheTables)
{
    EXPECT_EQ(declarations().front().signature(), "Bool operator==(Bool x, Bool y)");
    size_t ray = position_of("Ray Ray(Vector3 o, Vector3 d)");
    EXPECT_EQ(declarations()[ray + 1].signature(), "struct Ray { Vector3 origin; Vector3 direction; }");
    EXPECT_EQ(declarations()[ray + 2].signature(), "Ray operator=(out Ray x, Ray y)");
    EXPECT_LT(position_of("Vector4 operator=(out Vector4 x, Color y)"), ray);
    EXPECT_LT(ray, position_of("String String()"));
    EXPECT_LT(position_of("struct Texture_sampler_1d_scalar { }"),
              position_of("Texture_sampler_1d_scalar Texture_sampler_1d_scalar(Texture1d texture)"));
    EXPECT_LT(position_of("String String()"), position_of("Bool all(Bool x)"));
    EXPECT_LT(position_of("Bool operator!=(Bool x, Bool y)"), position_of("Bool operator<(Int x, Int y)"));
    EXPECT_LT(position_of("Scalar abs(Scalar x)"), position_of("Int abs(Int x)"));
    EXPECT_EQ(declarations().back().signature(),
              "Color texCUBE(Texture_cube tex, Vector3 coord, Vector3 coord_dx, Vector3 coord_dy)");
}

TEST(BuiltinsDeclarations, ConversionsLeadToOneCandidate)
{
    // `Vector3 a; a * 2`: the Scalar form, through Int to Scalar, and nothing else.
    EXPECT_EQ(viable("operator*", {"Vector3", "Int"}),
              (std::vector<std::string>{"Vector3 operator*(Vector3 x, Scalar y)"}));
    EXPECT_EQ(viable("operator+", {"Int", "Vector2"}),
              (std::vector<std::string>{"Vector2 operator+(Scalar x, Vector2 y)"}));
    // dot(Color, Color) resolves by the Vector4 form.
    EXPECT_EQ(viable("dot", {"Color", "Color"}), (std::vector<std::string>{"Scalar dot(Vector4 x, Vector4 y)"}));
    EXPECT_EQ(viable("length", {"Color"}), (std::vector<std::string>{"Scalar length(Color x)"}));
    // A texture may be given as a file name.
    EXPECT_EQ(viable("tex2D", {"String", "Vector2"}),
              (std::vector<std::string>{"Color tex2D(Texture2d tex, Vector2 coord)"}));
    EXPECT_TRUE(viable("operator*", {"Vector3", "Vector3i"}).empty());
}

TEST(BuiltinsTrees, PrototypeShape)
{
    File_name file = make_file_name(BUILTIN_FILE_NAME);
    Builtin_declaration d;
    d.result = "String";
    d.name = "operator+=";
    d.parameters = {{"inout", "String", "x"}, {"", "String", "y"}};
    std::unique_ptr<St_node> node(make_builtin_node(d, file));
    EXPECT_EQ(shape(node.get()),
              "FUNCTION_DECLARATION\n"
              "  SIMPLE_TYPE_SPECIFIER \"String\"\n"
              "  FUNCTION_DECLARATOR\n"
              "    IDENTIFIER \"operator+=\"\n"
              "  FUNCTION_PARAMETER_LIST\n"
              "    FUNCTION_PARAMETER \"x\"\n"
              "      PARAMETER_QUALIFIER \"inout\"\n"
              "      SIMPLE_TYPE_SPECIFIER \"String\"\n"
              "    FUNCTION_PARAMETER \"y\"\n"
              "      SIMPLE_TYPE_SPECIFIER \"String\"\n");
    EXPECT_STREQ(node->file_name(), "stdlib.ovl");
    EXPECT_STREQ(node->child(2)->child(1)->child(0)->file_name(), "stdlib.ovl");
    EXPECT_EQ(node->next_sibling, nullptr);

    d.parameters.clear();
    node.reset(make_builtin_node(d, file));
    EXPECT_EQ(node->child_count(), 2);  // "()" makes no list node
}

TEST(BuiltinsTrees, EveryDeclarationMatchesItsParse)
{
    int compared = 0;
    for (const Builtin_declaration& d : declarations()) {
        // "T T();" of a user type parses as a variable with a constructor initialiser; these
        // prototypes exist only as built trees.
        if (!d.is_struct && d.parameters.empty() && language_word_code(d.name.c_str()) < 0)
            continue;
        QZ::FRONT12::Parse_result parsed = QZ::FRONT12::parse_text(source_of(d), BUILTIN_FILE_NAME);
        ASSERT_TRUE(parsed.errors.empty()) << source_of(d);
        ASSERT_NE(parsed.tree, nullptr) << source_of(d);
        std::unique_ptr<St_node> built(make_builtin_node(d, make_file_name(BUILTIN_FILE_NAME)));
        EXPECT_EQ(shape(built.get()), shape(parsed.tree->first_child)) << source_of(d);
        ++compared;
    }
    EXPECT_GT(compared, 850);
}

TEST(BuiltinsTrees, AppendedToADeclarationList)
{
    File_name file = make_file_name("stdlib.ovl");
    std::unique_ptr<St_node> list(new St_node(NODE_DECLARATION_LIST, file));
    list->add_child(new St_node(NODE_IMPORT_DECLARATION, file, "first"));
    append_builtin_declarations(list.get());
    EXPECT_EQ(list->child_count(), int32_t(1 + declarations().size()));
    EXPECT_EQ(list->first_child->kind, NODE_IMPORT_DECLARATION);
    EXPECT_EQ(list->child(1)->kind, NODE_FUNCTION_DECLARATION);
    int structs = 0;
    for (St_node* node = list->child(1); node; node = node->next_sibling) {
        EXPECT_STREQ(node->file_name(), "stdlib.ovl");
        structs += node->kind == NODE_CLASS_DECLARATION;
    }
    EXPECT_EQ(structs, 5 + 16);
    append_builtin_declarations(nullptr);  // nothing to append to: the nodes are freed
}

namespace {

// Every field that a pass or a binary file reads, over the node, its children and its siblings.
void expect_same_tree(const St_node* a, const St_node* b, const std::string& where)
{
    std::vector<std::pair<const St_node*, const St_node*>> pending{{a, b}};
    while (!pending.empty()) {
        auto [x, y] = pending.back();
        pending.pop_back();
        ASSERT_EQ(x == nullptr, y == nullptr) << where;
        if (!x)
            continue;
        ASSERT_EQ(x->kind, y->kind) << where;
        EXPECT_EQ(x->text_size, y->text_size) << where;
        EXPECT_EQ(x->text_view(), y->text_view()) << where;
        EXPECT_EQ(x->has_text(), y->has_text()) << where;
        EXPECT_EQ(std::string(x->file_name()), std::string(y->file_name())) << where;
        EXPECT_EQ(x->line, y->line) << where;
        EXPECT_EQ(x->column, y->column) << where;
        EXPECT_EQ(x->extra_position, y->extra_position) << where;
        EXPECT_EQ(x->type_index, y->type_index) << where;
        pending.push_back({x->first_child, y->first_child});
        pending.push_back({x->next_sibling, y->next_sibling});
    }
}

}  // namespace

// The table read at start is made ahead of time; it must say what the templates say, record for
// record, or scripts/update_builtin_table.sh has not been run after a template changed.
TEST(BuiltinsTable, RecordsEqualTheTemplates)
{
    std::vector<Builtin_declaration> expanded = builtin_declarations_from_templates();
    ASSERT_EQ(declarations().size(), expanded.size());
    for (size_t i = 0; i < expanded.size(); ++i) {
        const Builtin_declaration& table = declarations()[i];
        EXPECT_EQ(table.is_struct, expanded[i].is_struct) << i;
        EXPECT_EQ(table.result, expanded[i].result) << i;
        EXPECT_EQ(table.signature(), expanded[i].signature()) << i;
    }
}

TEST(BuiltinsTable, TreesEqualThoseOfTheRecords)
{
    File_name file = make_file_name(BUILTIN_FILE_NAME);
    std::vector<Builtin_declaration> expanded = builtin_declarations_from_templates();
    std::vector<St_node*> nodes = make_builtin_nodes();
    ASSERT_EQ(nodes.size(), expanded.size());
    for (size_t i = 0; i < nodes.size(); ++i) {
        std::unique_ptr<St_node> fast(nodes[i]);
        std::unique_ptr<St_node> slow(make_builtin_node(expanded[i], file));
        expect_same_tree(fast.get(), slow.get(), expanded[i].signature());
    }
}

// A program's functions are learnt from the table one name at a time and its types up front:
// the pieces must be those of the whole list, in its order.
TEST(BuiltinsTable, FunctionsMadeOneByOneAndTypesAloneAreThoseOfTheWholeList)
{
    File_name file = make_file_name(BUILTIN_FILE_NAME);
    std::vector<St_node*> nodes = make_builtin_nodes();
    std::vector<std::unique_ptr<St_node>> owned(nodes.begin(), nodes.end());
    std::unique_ptr<St_node> types(new St_node(NODE_DECLARATION_LIST, file));
    append_builtin_types(types.get());
    std::vector<Builtin_function> functions = builtin_functions();

    const St_node* next_type = types->first_child;
    size_t next_function = 0;
    std::string from_table;
    std::string from_tree;
    for (const St_node* node : nodes) {
        if (node->kind == NODE_CLASS_DECLARATION) {
            ASSERT_NE(next_type, nullptr);
            EXPECT_EQ(next_type->kind, NODE_CLASS_DECLARATION);
            expect_same_tree(node->first_child, next_type->first_child, "struct");
            next_type = next_type->next_sibling;
            continue;
        }
        ASSERT_LT(next_function, functions.size());
        const Builtin_function& function = functions[next_function++];
        std::unique_ptr<St_node> made(make_builtin_function_node(function.at, file));
        ASSERT_NE(made, nullptr);
        const St_node* declarator = node->find_child(NODE_FUNCTION_DECLARATOR);
        EXPECT_EQ(declarator->first_child->text_view(), function.name);
        expect_same_tree(node, made.get(), function.name);
        builtin_written_signature(function.at, from_table);
        Tree_traverser_semantic_pass::written_signature(node, from_tree);
        EXPECT_EQ(from_table, from_tree) << function.name;
    }
    EXPECT_EQ(next_type, nullptr);
    EXPECT_EQ(next_function, functions.size());
}

// The prelude deals ids to the built-in functions without comparing their signatures with each
// other: no two of one name may have parameters that read alike (the later one would never be
// chosen, and the prelude would give it an id a sweep does not).
TEST(BuiltinsTable, NoTwoFunctionsOfANameHaveTheSameParameters)
{
    std::set<std::pair<std::string, std::string>> seen;
    std::string signature;
    for (const Builtin_function& function : builtin_functions()) {
        builtin_written_signature(function.at, signature);
        EXPECT_TRUE(seen.insert({function.name, signature}).second) << function.name << "(" << signature << ")";
    }
}

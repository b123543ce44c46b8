// vorn_doc_tables: prints one table of the language guide, in Markdown, from the tables the
// library itself uses, so that the guide cannot drift from the compiler.
//
//   vorn_doc_tables types|state_variables|state_functions|functions|built_in_types|macros
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "front12/prelude.h"
#include "syntax_tree/builtins.h"
#include "syntax_tree/state_tables.h"
#include "syntax_tree/type.h"

using namespace QZ::SYNTAX_TREE;

namespace {

std::string type_text(uint32_t code, uint32_t array_size)
{
    const char* word = language_word(code);
    std::string text = word ? word : type_code_name(code);
    if (array_size > 1)
        text += "[" + std::to_string(array_size) + "]";
    return text;
}

const char* kind_of(uint32_t code)
{
    if (code == TYPE_ILLEGAL)
        return "no value: the result of a function that returns nothing";
    if (code == TYPE_BOOLEAN || code == TYPE_INT32 || code == TYPE_SCALAR)
        return "scalar";
    if (code == TYPE_COLOR)
        return "colour: red, green, blue, alpha";
    if (is_vector(code))
        return "vector";
    if (is_matrix(code))
        return "matrix";
    if (is_texture(code))
        return "texture";
    return "text";
}

// Every type word of the language, in the order of the type codes.
void print_types()
{
    std::printf("| type | kind | components | component type |\n|---|---|---|---|\n");
    for (uint32_t code = 0; code < TYPE_CODE_COUNT; ++code) {
        const char* word = language_word(code);
        if (!word)
            continue;
        const Type_code_info& info = type_code_info(code);
        uint32_t rows = 0, columns = 0;
        std::string components = std::to_string(info.components);
        if (matrix_shape(code, &rows, &columns))
            components = std::to_string(rows) + " rows of " + std::to_string(columns);
        const char* component = is_texture(code) || code == TYPE_STRING || code == TYPE_ILLEGAL
                                    ? "" : language_word(info.component_code);
        std::printf("| `%s` | %s | %s | %s |\n", word, kind_of(code), code == TYPE_ILLEGAL ? "" : components.c_str(),
                    component && *component ? (std::string("`") + component + "`").c_str() : "");
    }
}

void print_state(const State_entry* table, int32_t count, const char* result_header)
{
    std::printf("| number | name | %s |\n|---|---|---|\n", result_header);
    for (int32_t i = 0; i < count; ++i) {
        const State_entry& entry = table[i];
        std::string type = entry.code == TYPE_ILLEGAL && entry.array_size == 0 ? "(none)"
                                                                               : type_text(entry.code, entry.array_size);
        std::printf("| %d | `%s` | `%s` |\n", i, entry.name, type.c_str());
    }
}

bool is_operator(const Builtin_declaration& declaration)
{
    return declaration.name.compare(0, 8, "operator") == 0;
}

// Constructors carry the name of their type: a type word or one of the built-in structs.
bool is_constructor(const Builtin_declaration& declaration, const std::set<std::string>& type_names)
{
    return language_word_code(declaration.name.c_str()) >= 0 || type_names.count(declaration.name) > 0;
}

std::set<std::string> built_in_type_names(const std::vector<Builtin_declaration>& declarations)
{
    std::set<std::string> names;
    for (const Builtin_declaration& declaration : declarations)
        if (declaration.is_struct || (!is_operator(declaration) && declaration.result == declaration.name))
            names.insert(declaration.name);
    return names;
}

void print_functions()
{
    std::vector<Builtin_declaration> declarations = builtin_declarations();
    std::set<std::string> type_names = built_in_type_names(declarations);
    std::map<std::string, std::vector<std::string>> forms;
    for (const Builtin_declaration& declaration : declarations)
        if (!declaration.is_struct && !is_operator(declaration) && !is_constructor(declaration, type_names))
            forms[declaration.name].push_back(declaration.signature());
    std::printf("| function | forms |\n|---|---|\n");
    for (const auto& [name, signatures] : forms) {
        std::printf("| `%s` |", name.c_str());
        for (size_t i = 0; i < signatures.size(); ++i)
            std::printf("%s`%s`", i == 0 ? " " : "<br>", signatures[i].c_str());
        std::printf(" |\n");
    }
}

void print_built_in_types()
{
    std::vector<Builtin_declaration> declarations = builtin_declarations();
    std::set<std::string> type_names = built_in_type_names(declarations);
    std::map<std::string, std::vector<std::string>> forms;
    for (const Builtin_declaration& declaration : declarations)
        if (declaration.is_struct || (!is_operator(declaration) && type_names.count(declaration.name) &&
                                      language_word_code(declaration.name.c_str()) < 0))
            forms[declaration.name].push_back(declaration.signature());
    std::printf("| type | declarations |\n|---|---|\n");
    for (const auto& [name, signatures] : forms) {
        std::printf("| `%s` |", name.c_str());
        for (size_t i = 0; i < signatures.size(); ++i)
            std::printf("%s`%s`", i == 0 ? " " : "<br>", signatures[i].c_str());
        std::printf(" |\n");
    }
}

// The #define lines and prototypes of the text that stands in front of every file.
void print_macros()
{
    std::printf("| macro | value |\n|---|---|\n");
    const char* text = QZ::FRONT12::prelude_text;
    while (text && *text) {
        const char* end = std::strchr(text, '\n');
        std::string line(text, end ? end - text : std::strlen(text));
        if (line.compare(0, 8, "#define ") == 0) {
            size_t space = line.find(' ', 8);
            std::printf("| `%s` | `%s` |\n", line.substr(8, space - 8).c_str(),
                        space == std::string::npos ? "" : line.substr(space + 1).c_str());
        }
        text = end ? end + 1 : nullptr;
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const char* table = argc == 2 ? argv[1] : "";
    if (!std::strcmp(table, "types"))
        print_types();
    else if (!std::strcmp(table, "state_variables"))
        print_state(state_variable_table, STATE_VARIABLE_COUNT, "type");
    else if (!std::strcmp(table, "state_functions"))
        print_state(state_function_table, STATE_FUNCTION_COUNT, "result");
    else if (!std::strcmp(table, "functions"))
        print_functions();
    else if (!std::strcmp(table, "built_in_types"))
        print_built_in_types();
    else if (!std::strcmp(table, "macros"))
        print_macros();
    else {
        std::fprintf(stderr,
                     "usage: vorn_doc_tables types|state_variables|state_functions|functions|built_in_types|macros\n");
        return 2;
    }
    return 0;
}

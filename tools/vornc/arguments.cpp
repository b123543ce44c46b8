#include "arguments.h"

#include <cctype>
#include <cstdio>

namespace vornc {

const char* const usage_text =
    "usage: vornc [OPTIONS] COMMAND [ARGS]\n"
    "       vornc -E [OPTIONS] FILE...\n"
    "\n"
    "Commands (FILE may be - for standard input):\n"
    "  check FILE...     compile each file and print its diagnostics on standard error;\n"
    "                    exit status 1 if any file has an error\n"
    "  compile FILE --target FX|GL|Cg|Swrc [--shader NAME] [--option KEY=VALUE]... [-o OUT]\n"
    "                    compile a file and write the generated programs into the directory\n"
    "                    OUT (default ., made when missing), named after the file: FX .fx,\n"
    "                    GL .vert and .frag, Cg .v.cg and .f.cg (the main files with the\n"
    "                    shader; complete_program=0 gives the shader's .f.cg alone). For a\n"
    "                    target of one program OUT may name the file, or be - for standard\n"
    "                    output. The shader is taken as a surface\n"
    "                    unless --option shader_type=... says otherwise. A FILE ending in\n"
    "                    .bovl is a binary compiled file, read instead of compiled\n"
    "  compile FILE.ovl --save-binary OUT [--target ...]\n"
    "                    compile a file and save the unit as the binary compiled file OUT;\n"
    "                    with --target, also write the generated programs\n"
    "  dump-tree FILE    print the parse tree, with the errors beside it when there are any\n"
    "  reflect FILE [--target T]\n"
    "                    print as JSON what a host must supply to the shader\n"
    "  graph FILE.xovl [--dot]\n"
    "                    read a graph file and list its source files, its classes with\n"
    "                    their parameters and its nodes with their values and wires; with\n"
    "                    --dot, write the graph in Graphviz's dot language instead (for\n"
    "                    dot -Tpng). Diagnostics of the read go to standard error; exit\n"
    "                    status 1 if there were any\n"
    "  link FILE.xovl --node NAME|--class NAME [--lights A,B] [--environment E] [-o OUT]\n"
    "                    link a node (or a class) of a graph file into one shader and print\n"
    "                    it as Ovrel source, on standard output or into the file OUT; with\n"
    "                    --lights (nodes of light shaders) or --environment, export it for\n"
    "                    rendering: light loops unrolled, environment lookups filled in\n"
    "  compile FILE.xovl --node NAME|--class NAME [--lights A,B] [--environment E] --target T [...]\n"
    "                    link (or export) a node or a class of a graph file and write its\n"
    "                    programs as for a source file\n"
    "  preview FILE --target Swrc|GL [--shader NAME] [--shape quad|sphere]\n"
    "          [--option cplusplus_compiler=CXX] -o OUT.png\n"
    "                    draw a surface shader on a 256 by 256 picture of the quad (the\n"
    "                    default) or the sphere with its inputs' defaults\n"
    "                    and write the picture as PNG: Swrc builds its C++ text with CXX\n"
    "                    (default c++) and runs it on the CPU, GL draws its GL pair with\n"
    "                    OSMesa; exit status 1 when the compiler or libOSMesa is missing\n"
    "  options [TARGET]  list the option keys and values that each target reads\n"
    "  targets           list the targets of the library\n"
    "  paths             print the shader search path, one directory per line\n"
    "\n"
    "Options:\n"
    "  -I DIR            look for included and imported files in DIR, after the including\n"
    "                    file's own directory (repeatable)\n"
    "  -D NAME[=VALUE]   define a macro for every file (VALUE defaults to 1)\n"
    "  -U NAME           remove a macro, also one of the standard prelude\n"
    "  -E                print the preprocessed text on standard output (or into -o FILE)\n"
    "  -M                print a Make rule of the files the compile reads, and nothing else\n"
    "  -MF FILE, --depfile FILE\n"
    "                    also write that rule into FILE\n"
    "  --target T, --target=T\n"
    "                    the target to generate for\n"
    "  --diagnostics=text|gcc|json\n"
    "                    the form of diagnostics: the library's text (default),\n"
    "                    FILE:LINE:COLUMN: error: MESSAGE, or one JSON object a line\n"
    "  --color=auto|always|never\n"
    "                    colour the diagnostics (auto: when standard error is a terminal)\n"
    "  -Werror           treat warnings as errors\n"
    "  -w                print no warnings\n"
    "  --path LIST       the whole shader search path, directories separated by ';'\n"
    "  --help            print this text\n"
    "  --version         print the version of vornc and of the library's interface\n";

namespace {

bool starts_with(const std::string& word, const char* prefix)
{
    return word.rfind(prefix, 0) == 0;
}

bool is_identifier(const std::string& name)
{
    if (name.empty() || !(std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_'))
        return false;
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_')
            return false;
    return true;
}

int misuse(const char* format, const std::string& word)
{
    std::fprintf(stderr, "vornc: ");
    std::fprintf(stderr, format, word.c_str());
    std::fprintf(stderr, "\nTry 'vornc --help'.\n");
    return 2;
}

// Reads the words of the command line one by one. An option's value comes from the same word
// ("-Idir", "--target=GL") or from the next one.
class Reader {
public:
    Reader(int argc, char** argv) : argc_(argc), argv_(argv) {}

    bool more() const { return index_ < argc_; }
    std::string next() { return argv_[index_++]; }

    // The value of option name given as word: after "=" for a long option, after the name for a
    // short one, else the next word. False when there is none.
    bool value(const std::string& word, const std::string& name, std::string& out)
    {
        if (word.size() > name.size()) {
            size_t skip = name.size() + (word[name.size()] == '=' && starts_with(name, "--") ? 1 : 0);
            out = word.substr(skip);
            return true;
        }
        if (index_ >= argc_)
            return false;
        out = argv_[index_++];
        return true;
    }

private:
    int argc_;
    char** argv_;
    int index_ = 1;
};

// Whether word is option name, alone or with its value attached.
bool is_option(const std::string& word, const std::string& name)
{
    if (word == name)
        return true;
    if (!starts_with(word, name.c_str()))
        return false;
    // Long options take "=VALUE"; short ones (-I, -D, -U, -o) their value directly.
    return starts_with(name, "--") ? word[name.size()] == '=' : name.size() == 2;
}

int parse_macro(bool define, const std::string& text, Arguments& arguments)
{
    size_t equals = define ? text.find('=') : std::string::npos;
    std::string name = text.substr(0, equals);
    if (!is_identifier(name))
        return misuse(define ? "-D needs NAME[=VALUE] with NAME an identifier, not '%s'"
                             : "-U needs a NAME that is an identifier, not '%s'",
                      text);
    Arguments::Macro_edit edit{define, name, std::nullopt};
    if (equals != std::string::npos)
        edit.value = text.substr(equals + 1);
    arguments.macro_edits.push_back(std::move(edit));
    return -1;
}

int parse_choice(const std::string& name, const std::string& value, Arguments& arguments)
{
    if (name == "--diagnostics") {
        if (value == "text")
            arguments.diagnostics = Diagnostics_form::text;
        else if (value == "gcc")
            arguments.diagnostics = Diagnostics_form::gcc;
        else if (value == "json")
            arguments.diagnostics = Diagnostics_form::json;
        else
            return misuse("--diagnostics takes text, gcc or json, not '%s'", value);
        return -1;
    }
    if (value == "auto")
        arguments.color = Color_choice::automatic;
    else if (value == "always")
        arguments.color = Color_choice::always;
    else if (value == "never")
        arguments.color = Color_choice::never;
    else
        return misuse("--color takes auto, always or never, not '%s'", value);
    return -1;
}

// Options that take a value; the flag-like ones are handled before.
int parse_valued(Reader& reader, const std::string& word, Arguments& arguments)
{
    static const char* const names[] = {"--path",   "--target", "--shader", "--option",      "--save-binary",
                                        "--depfile", "-MF",     "-I",       "-D",            "-U",
                                        "-o",       "--diagnostics", "--color", "--node",   "--class",
                                        "--lights", "--environment", "--shape"};
    for (const char* name : names) {
        if (!is_option(word, name))
            continue;
        std::string value;
        if (!reader.value(word, name, value))
            return misuse("%s needs a value", name);
        std::string option = name;
        if (option == "--path") {
            arguments.path = value;
            arguments.path_given = true;
        } else if (option == "--target") {
            arguments.target = value;
        } else if (option == "--shader") {
            arguments.shader = value;
        } else if (option == "--node") {
            arguments.node = value;
        } else if (option == "--class") {
            arguments.node_class = value;
        } else if (option == "--lights") {
            // An empty list is a list: the loops go.
            arguments.lights = value;
            return -1;
        } else if (option == "--environment") {
            arguments.environment = value;
        } else if (option == "--shape") {
            if (value != "quad" && value != "sphere")
                return misuse("--shape takes quad or sphere, not '%s'", value);
            arguments.shape = value;
        } else if (option == "--save-binary") {
            arguments.save_binary = value;
        } else if (option == "--depfile" || option == "-MF") {
            arguments.depfile = value;
        } else if (option == "-I") {
            arguments.include_directories.push_back(value);
        } else if (option == "-D" || option == "-U") {
            return parse_macro(option == "-D", value, arguments);
        } else if (option == "-o") {
            arguments.output = value;
        } else if (option == "--diagnostics" || option == "--color") {
            return parse_choice(option, value, arguments);
        } else {
            size_t equals = value.find('=');
            if (equals == std::string::npos || equals == 0)
                return misuse("--option needs KEY=VALUE, not '%s'", value);
            arguments.options.emplace_back(value.substr(0, equals), value.substr(equals + 1));
        }
        if (value.empty() && option != "--option")
            return misuse("%s needs a value that is not empty", option);
        return -1;
    }
    return misuse("unknown option '%s'", word);
}

}  // namespace

int parse_arguments(int argc, char** argv, Arguments& arguments)
{
    Reader reader(argc, argv);
    while (reader.more()) {
        std::string word = reader.next();
        if (word == "--help" || word == "-h") {
            std::fputs(usage_text, stdout);
            return 0;
        }
        if (word == "--version") {
            arguments.show_version = true;
        } else if (word == "-E") {
            arguments.preprocess_only = true;
        } else if (word == "-M") {
            arguments.dependencies_only = true;
        } else if (word == "-Werror") {
            arguments.warnings_are_errors = true;
        } else if (word == "-w") {
            arguments.no_warnings = true;
        } else if (word == "--dot") {
            arguments.dot = true;
        } else if (word.size() > 1 && word[0] == '-') {
            int status = parse_valued(reader, word, arguments);
            if (status >= 0)
                return status;
        } else if (arguments.command.empty() && !arguments.preprocess_only) {
            arguments.command = word;
        } else {
            arguments.rest.push_back(word);
        }
    }
    return -1;
}

}  // namespace vornc

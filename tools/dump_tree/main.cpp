// vorn_dump_tree FILE...: parses each file and prints its diagnostics, then its tree, so that
// the parser's output can be watched and kept as golden files.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "front12/ovrel_parser.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/tree_printer.h"

namespace {

const char* const usage_text =
    "usage: vorn_dump_tree FILE...\n"
    "Prints the diagnostics of each Ovrel source file, then its parse tree:\n"
    "one node per line, indented by depth, as KIND \"text\" line:column.\n";

bool read_whole_file(const char* path, std::string& text)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    text = buffer.str();
    return !in.bad();
}

// Returns false when the file could not be read or has errors.
bool dump_file(const char* path)
{
    std::string text;
    if (!read_whole_file(path, text)) {
        QZ::SYNTAX_TREE::Error_record error;
        error.number = QZ::SYNTAX_TREE::DIAG_UNABLE_TO_OPEN_FILE;
        error.text = path;
        std::printf("%s\n", QZ::SYNTAX_TREE::format_error(error, path).c_str());
        return false;
    }
    QZ::FRONT12::Parse_result result = QZ::FRONT12::parse_text(text, path);
    for (const QZ::SYNTAX_TREE::Error_record& error : result.errors)
        std::printf("%s\n", QZ::SYNTAX_TREE::format_error(error, path).c_str());
    QZ::SYNTAX_TREE::print_tree(result.tree.get(), stdout);
    return result.errors.empty();
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0) {
        std::fputs(usage_text, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    bool clean = true;
    for (int i = 1; i < argc; ++i) {
        if (argc > 2)
            std::printf("==> %s <==\n", argv[i]);
        clean = dump_file(argv[i]) && clean;
    }
    std::fflush(stdout);
    return clean ? 0 : 1;
}

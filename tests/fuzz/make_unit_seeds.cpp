// Writes the seeds of the unit stream target: each source given, compiled and written as the
// stream a unit serializes to. scripts/update_fuzz_seeds.sh runs it over the compile seeds.
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "compiler/mod_compiler.h"
#include "serial/memory_stream.h"
#include "syntax_tree/compilation_unit.h"
#include "system/sequence.h"

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OUT_DIR SOURCE...\n", argv[0]);
        return 2;
    }
    QZ::SYSTEM::start_sequence();
    int written = 0;
    for (int i = 2; i < argc; ++i) {
        std::ifstream in(argv[i], std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        std::string path = argv[i];
        std::string name = path.substr(path.find_last_of('/') + 1);
        std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
            QZ::COMPILER::mod_compiler->compile_text(name.c_str(), text.str().c_str(), nullptr));
        if (!unit || unit->error_count() != 0)
            continue;
        QZ::SERIAL::Memory_serializer out;
        unit->serialize(out);
        std::ofstream file(std::string(argv[1]) + "/" + name.substr(0, name.rfind('.')) + ".unit", std::ios::binary);
        file.write(reinterpret_cast<const char*>(out.bytes().data()), std::streamsize(out.bytes().size()));
        ++written;
    }
    QZ::SYSTEM::stop_sequence();
    std::printf("%d seeds written\n", written);
    return written > 0 ? 0 : 1;
}

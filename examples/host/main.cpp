// A minimal host: compiles one Ovrel file, prints its diagnostics with their positions, generates
// the GL vertex and fragment texts and writes them beside each other.
//
//   vorn_host FILE.ovl [OUT_DIR]     writes OUT_DIR/NAME.vert and OUT_DIR/NAME.frag
//
// Exit status: 0 on success, 1 when the file has errors or nothing could be generated, 2 on bad
// usage or when the library does not start.
#include <cstdio>
#include <string>
#include <vector>

#include <vorn/vorn.h>

namespace {

// Releases an interface at the end of a scope; every interface the library hands out is ours.
template <typename T>
struct Held {
    T* object;
    explicit Held(T* o) : object(o) {}
    ~Held()
    {
        if (object)
            object->release();
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    T* operator->() const { return object; }
    explicit operator bool() const { return object != nullptr; }
};

void print_errors(vorn::ICompiler_errors* errors)
{
    for (uint32_t i = 0; i < errors->get_count(); ++i) {
        std::vector<char> message(errors->get_message_length(i) + 1);
        errors->get_message(i, message.data(), static_cast<uint32_t>(message.size()));
        std::fprintf(stderr, "%d:%d: error %u: %s\n", errors->get_line(i), errors->get_column(i),
                     errors->get_error_number(i), message.data());
    }
}

std::string program_text(vorn::IGenerated_shader* shader, uint32_t index)
{
    std::vector<char> text(shader->get_program_size(index) + 1);
    shader->copy_program(index, text.data(), static_cast<uint32_t>(text.size()));
    return text.data();
}

bool write_file(const std::string& path, const std::string& text)
{
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (!file)
        return false;
    bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

std::string base_name(const std::string& path)
{
    std::string name = path.substr(path.find_last_of('/') + 1);
    return name.substr(0, name.rfind('.'));
}

// Everything that holds an interface lives in here, so that it is released before the root.
int run(vorn::IVorn* root, const std::string& file, const std::string& out_dir)
{
    Held<vorn::IVorn_compiler> compiler(
        static_cast<vorn::IVorn_compiler*>(root->get_interface(vorn::IID_VORN_COMPILER)));
    if (!compiler)
        return 2;
    Held<vorn::ICompiler_errors> errors(compiler->create_errors());
    Held<vorn::ICompilation_unit> unit(compiler->compile_file(file.c_str(), errors.object));
    if (!unit) {
        print_errors(errors.object);
        return 1;
    }
    // Without options a shader is generated as a surface; "shader_type" asks for a light and so on.
    Held<vorn::ICompiler_options> options(compiler->create_options());
    Held<vorn::IGenerated_shader> shader(unit->generate("GL", options.object));
    if (!shader || shader->get_program_count() != 2) {
        std::fprintf(stderr, "%s: no GL text generated\n", file.c_str());
        return 1;
    }
    const char* const endings[] = {".vert", ".frag"};
    for (uint32_t i = 0; i < 2; ++i) {
        std::string path = out_dir + "/" + base_name(file) + endings[i];
        if (!write_file(path, program_text(shader.object, i))) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
        std::printf("%s (entry %s)\n", path.c_str(), shader->get_entry_name(i));
    }
    std::printf("link the fragment text with %s/vorn_companion.glsl\n", VORN_DATA_DIR);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: vorn_host FILE.ovl [OUT_DIR]\n");
        return 2;
    }
    vorn::IVorn* root = initialize_vorn();
    if (!root)
        return 2;
    int status = run(root, argv[1], argc == 3 ? argv[2] : ".");
    root->release();  // last: this stops the library for the rest of the process
    return status;
}

// Every GL golden pair (the focused inputs, the examples, the linked graphs) compiled and linked by
// Mesa as a host links it: glslang checks each stage alone, but only a real link sees a varying that
// the fragment text reads and the vertex text never writes.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <string>
#include <vector>

#include "render_harness.h"
#include "support/test_support.h"

namespace {

std::vector<std::string> fragments_in(const std::string& directory)
{
    std::vector<std::string> files;
    if (DIR* dir = opendir(directory.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > 5 && name.compare(name.size() - 5, 5, ".frag") == 0)
                files.push_back(directory + "/" + name);
        }
        closedir(dir);
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Depth peeling's sampler needs the rectangle-texture extension, which the text leaves to the host.
std::string as_host_compiles(const std::string& text)
{
    if (text.find("sampler2DRect") == std::string::npos)
        return text;
    return "#extension GL_ARB_texture_rectangle : enable\n" + text;
}

}  // namespace

TEST(GoldenLink, every_gl_golden_pair_links_and_draws_on_mesa)
{
    const std::string root = VORN_TEST_DATA_DIR "/gen/expected_gl";
    std::vector<std::string> fragments;
    for (const char* sub : {"", "/examples", "/inputs"})
        for (const std::string& file : fragments_in(root + sub))
            fragments.push_back(file);
    ASSERT_GT(fragments.size(), 40u) << "the GL goldens are missing under " << root;

    const std::string companion = vorn_test::read_file(VORN_COMPANION_PATH);
    std::vector<vorn_render::Render_request> requests;
    for (const std::string& fragment : fragments) {
        vorn_render::Render_request request;
        request.vertex_text = as_host_compiles(vorn_test::read_file(fragment.substr(0, fragment.size() - 5) + ".vert"));
        request.fragment_text = as_host_compiles(vorn_test::read_file(fragment));
        request.extra_fragment_sources.push_back(companion);
        // A light's texts have no main: a surface's program takes them in. Stubs stand in for it.
        if (request.fragment_text.find("void main()") == std::string::npos) {
            request.extra_fragment_sources.push_back("void main() { gl_FragColor = vec4(0.0); }\n");
            request.vertex_text += "void main() { gl_Position = ftransform(); }\n";
        }
        // Samplers of different kinds may not share a unit when drawing: one unit each.
        std::istringstream lines(request.fragment_text);
        int unit = 0;
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string uniform, type, name;
            if (words >> uniform >> type >> name && uniform == "uniform" && type.compare(0, 7, "sampler") == 0)
                request.set_int(name.substr(0, name.find(';')), unit++);
        }
        request.width = request.height = 2;
        request.ignore_inactive_uniforms = true;
        requests.push_back(request);
    }
    const std::vector<vorn_render::Render_result> results = vorn_render::render_all(requests, 240);
    for (std::size_t i = 0; i < fragments.size(); ++i)
        EXPECT_TRUE(results[i].ok()) << fragments[i] << ": " << vorn_render::to_string(results[i].failure) << ": "
                                     << results[i].message;
}

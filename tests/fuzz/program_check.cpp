// vorn_program_check: random Ovrel programs through the whole path. Each must compile with no
// diagnostic; its GL pair must pass glslangValidator stage by stage, link with the companion
// source, and compile, link and draw on Mesa; its HLSL effect must pass the same glslang check
// as the effect golden files. Colour programs must draw the colour that the generator worked out;
// with --cpu 1 their C++ text is also built (one shared object a batch) and run on the CPU, and
// its picture must agree with Mesa's pixel by pixel.
// Program i of a run uses seed * 1000003 + i, so any failure reproduces from its seed and number.
//
// usage: vorn_program_check [--seed N] [--count N] [--colour N] [--check-every K] [--seconds S]
//                           [--keep DIR] [--companion FILE] [--cpu 0|1]
// --check-every K links with glslang and checks the HLSL of every K-th program only (each costs
// processes of its own); --seconds runs batches until the time is up. Exit status 1 on any fault.
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "back12/generated_shader.h"
#include "preview.h"
#include "compiler/compile_options.h"
#include "compiler/mod_compiler.h"
#include "program_generator.h"
#include "render_harness.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "system/sequence.h"

namespace {

struct Settings {
    uint64_t seed = 1;
    int count = 200;
    int colour = 20;
    int check_every = 1;
    int seconds = 0;
    std::string keep;
    std::string companion;
    std::string work;
    bool cpu = false;
};

struct Tally {
    std::map<std::string, int> faults;
    int programs = 0;
    int colour_programs = 0;
    int glslang_links = 0;
    int hlsl_checks = 0;
    int mesa_draws = 0;
    int cpu_draws = 0;
};

bool write_file(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
    return bool(out);
}

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

int run_quiet(const std::string& command, const std::string& log)
{
    int status = std::system((command + " >" + log + " 2>&1").c_str());
    return status == 0 ? 0 : 1;
}

class Checker {
public:
    Checker(const Settings& settings, Tally& tally) : settings_(settings), tally_(tally) {}

    void batch(uint64_t first, int count, bool colour);

private:
    struct Case {
        uint64_t number;
        std::string source;
        std::string vertex;
        std::string fragment;
        std::string effect;
        std::string cpp;
        bool has_colour = false;
        double colour[4] = {0, 0, 0, 1};
        bool failed = false;
    };

    void fault(Case& one, const std::string& kind, const std::string& detail);
    bool compile(Case& one);
    void check_stages(std::vector<Case>& cases);
    void check_link_and_hlsl(Case& one);
    void check_on_mesa(std::vector<Case>& cases);
    void check_on_cpu(std::vector<std::pair<Case*, vorn_render::Image>>& drawn);
    std::string path(const Case& one, const char* extension) const
    {
        return settings_.work + "/p" + std::to_string(one.number) + extension;
    }

    const Settings& settings_;
    Tally& tally_;
};

void Checker::fault(Case& one, const std::string& kind, const std::string& detail)
{
    ++tally_.faults[kind];
    one.failed = true;
    std::fprintf(stderr, "FAULT %s in program %llu (seed %llu):\n%s\n", kind.c_str(),
                 (unsigned long long)(one.number), (unsigned long long)(settings_.seed), detail.c_str());
    if (!settings_.keep.empty()) {
        std::string stem = settings_.keep + "/" + kind + "_" + std::to_string(one.number);
        write_file(stem + ".ovl", one.source);
        write_file(stem + ".vert", one.vertex);
        write_file(stem + ".frag", one.fragment);
        write_file(stem + ".fx", one.effect);
        write_file(stem + ".txt", detail);
    }
}

bool Checker::compile(Case& one)
{
    QZ::SYNTAX_TREE::Error_list errors;
    std::string name = "p" + std::to_string(one.number) + ".ovl";
    std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text(name.c_str(), one.source.c_str(), &errors));
    std::string messages;
    for (const auto& error : errors)
        messages += QZ::SYNTAX_TREE::format_error(error, name.c_str()) + "\n";
    if (unit)
        for (const auto& error : unit->errors())
            messages += QZ::SYNTAX_TREE::format_error(error, name.c_str()) + "\n";
    if (!unit || !messages.empty()) {
        fault(one, "diagnostic", messages.empty() ? "no unit" : messages);
        return false;
    }
    QZ::COMPILER::Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    options.complete_program = 1;
    std::unique_ptr<QZ::BACK12::Generated_shader> gl(
        QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options));
    options.attributes["format"] = "HLSL";
    std::unique_ptr<QZ::BACK12::Generated_shader> fx(
        QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "FX", options));
    if (!gl || gl->program_count() != 2 || !fx || fx->program_count() != 1) {
        fault(one, "generation", "a target gave no text");
        return false;
    }
    one.vertex = *gl->program_text(0);
    one.fragment = *gl->program_text(1);
    one.effect = *fx->program_text(0);
    if (settings_.cpu && one.has_colour) {
        options.attributes.erase("format");
        std::unique_ptr<QZ::BACK12::Generated_shader> cpp(
            QZ::COMPILER::mod_compiler->generate_shader(unit.get(), "Swrc", options));
        if (!cpp || cpp->program_count() < 1) {
            fault(one, "generation", "the C++ target gave no text");
            return false;
        }
        one.cpp = *cpp->program_text(0);
    }
    return true;
}

// Every stage of the batch in one glslang process; a failing batch is gone through file by file.
void Checker::check_stages(std::vector<Case>& cases)
{
    std::string files;
    for (Case& one : cases) {
        if (one.failed)
            continue;
        write_file(path(one, ".vert"), one.vertex);
        write_file(path(one, ".frag"), one.fragment);
        files += " " + path(one, ".vert") + " " + path(one, ".frag");
    }
    if (files.empty())
        return;
    std::string log = settings_.work + "/glslang.log";
    if (run_quiet("glslangValidator -d" + files, log) == 0)
        return;
    for (Case& one : cases) {
        if (one.failed)
            continue;
        for (const char* extension : {".vert", ".frag"}) {
            if (run_quiet("glslangValidator -d " + path(one, extension), log) != 0) {
                fault(one, std::string("glslang") + extension, read_file(log));
                break;
            }
        }
    }
}

// What the effect framework alone reads is cut, as the effect golden test cuts it.
const char* const effect_cuts =
    "perl -0777 -pe 's/^technique .*?^\\}\\n//ms; s/^texture \\w+ <.*?^>;\\n//msg; "
    "s/\\s*=\\s*sampler_state\\s*\\{.*?\\};/;/sg; s/\\b0f\\b/0.0f/g; s/\\bsamplerRECT\\b/sampler2D/g'";

void Checker::check_link_and_hlsl(Case& one)
{
    std::string log = settings_.work + "/check.log";
    ++tally_.glslang_links;
    if (run_quiet("glslangValidator -d -l " + path(one, ".frag") + " " + settings_.companion, log) != 0) {
        fault(one, "glslang_link", read_file(log));
        return;
    }
    write_file(path(one, ".fx"), one.effect);
    std::string hlsl = path(one, ".hlsl");
    if (run_quiet(std::string(effect_cuts) + " " + path(one, ".fx") + " > " + hlsl, log) != 0) {
        fault(one, "hlsl_cut", read_file(log));
        return;
    }
    ++tally_.hlsl_checks;
    for (const char* stage : {"vert", "frag"}) {
        std::string entry = std::strcmp(stage, "vert") == 0 ? "vertex_main" : "fragment_main";
        if (run_quiet(std::string("glslangValidator -D -V --hlsl-dx9-compatible -S ") + stage + " -e " + entry +
                          " -o " + settings_.work + "/out.spv " + hlsl,
                      log) != 0) {
            fault(one, std::string("hlsl_") + stage, read_file(log));
            return;
        }
    }
}

void Checker::check_on_mesa(std::vector<Case>& cases)
{
    std::vector<vorn_render::Render_request> requests;
    std::vector<Case*> drawn;
    std::string companion = read_file(settings_.companion);
    for (Case& one : cases) {
        if (one.failed)
            continue;
        vorn_render::Render_request request;
        request.vertex_text = one.vertex;
        request.fragment_text = one.fragment;
        request.extra_fragment_sources.push_back(companion);
        request.width = request.height = 4;
        request.ignore_inactive_uniforms = true;
        requests.push_back(request);
        drawn.push_back(&one);
    }
    if (requests.empty())
        return;
    std::vector<vorn_render::Render_result> results = vorn_render::render_all(requests, 600);
    std::vector<std::pair<Case*, vorn_render::Image>> colour_drawn;
    for (size_t k = 0; k < results.size(); ++k) {
        Case& one = *drawn[k];
        ++tally_.mesa_draws;
        if (!results[k].ok()) {
            fault(one, "mesa", std::string(vorn_render::to_string(results[k].failure)) + ": " + results[k].message);
            continue;
        }
        if (!one.has_colour)
            continue;
        vorn_render::Rgba got = results[k].image.at(2, 2);
        vorn_render::Rgba want{uint8_t(std::lround(one.colour[0] * 255)), uint8_t(std::lround(one.colour[1] * 255)),
                               uint8_t(std::lround(one.colour[2] * 255)), uint8_t(std::lround(one.colour[3] * 255))};
        if (!vorn_render::near(got, want, 2))
            fault(one, "colour", "drew " + vorn_render::to_string(got) + ", the source means " + vorn_render::to_string(want));
        else if (settings_.cpu)
            colour_drawn.emplace_back(&one, results[k].image);
    }
    if (!colour_drawn.empty())
        check_on_cpu(colour_drawn);
}

// The C++ texts of the batch in one shared object; each picture must be Mesa's.
void Checker::check_on_cpu(std::vector<std::pair<Case*, vorn_render::Image>>& drawn)
{
    std::vector<std::string> texts;
    for (const auto& one : drawn)
        texts.push_back(one.first->cpp);
    vorn_preview::Build_options options;
    options.include_directory = VORN_DATA_DIR;
    vorn_preview::Cpu_shaders built;
    std::string why;
    if (!built.build(texts, options, why)) {
        // One build for the batch: the fault goes to its first program, with the compiler's words.
        fault(*drawn[0].first, "cpu_build", why);
        return;
    }
    vorn_preview::Shader_interface shader;
    vorn_preview::Parameter result;
    result.name = "result";
    shader.outputs.push_back(result);
    shader.colour_output = "result";
    for (size_t k = 0; k < drawn.size(); ++k) {
        Case& one = *drawn[k].first;
        const vorn_render::Image& mesa = drawn[k].second;
        vorn_preview::Image cpu;
        ++tally_.cpu_draws;
        if (!built.shade(k, shader, mesa.width, mesa.height, cpu, why)) {
            fault(one, "cpu_run", why);
            continue;
        }
        for (int y = 0; y < mesa.height; ++y)
            for (int x = 0; x < mesa.width; ++x) {
                const std::uint8_t* c = &cpu.rgba[(size_t(y) * size_t(mesa.width) + size_t(x)) * 4];
                vorn_render::Rgba got{c[0], c[1], c[2], c[3]};
                if (!vorn_render::near(got, mesa.at(x, y), 2)) {
                    fault(one, "cpu", "the CPU drew " + vorn_render::to_string(got) + " at (" + std::to_string(x) +
                                          ", " + std::to_string(y) + "), Mesa " + vorn_render::to_string(mesa.at(x, y)));
                    y = mesa.height;
                    break;
                }
            }
    }
}

void Checker::batch(uint64_t first, int count, bool colour)
{
    std::vector<Case> cases;
    for (int k = 0; k < count; ++k) {
        Case one;
        one.number = first + uint64_t(k);
        uint64_t seed = settings_.seed * 1000003ull + one.number;
        vorn_fuzz::Generated_program program =
            colour ? vorn_fuzz::generate_colour_program(seed) : vorn_fuzz::generate_program(seed);
        one.source = program.source;
        one.has_colour = program.has_colour;
        for (int c = 0; c < 4; ++c)
            one.colour[c] = program.colour[c];
        ++(colour ? tally_.colour_programs : tally_.programs);
        compile(one);
        cases.push_back(one);
    }
    check_stages(cases);
    for (Case& one : cases)
        if (!one.failed && settings_.check_every > 0 && one.number % uint64_t(settings_.check_every) == 0)
            check_link_and_hlsl(one);
    check_on_mesa(cases);
}

bool parse(int argc, char** argv, Settings& settings)
{
    for (int i = 1; i < argc; ++i) {
        std::string flag = argv[i];
        if (i + 1 >= argc)
            return false;
        std::string value = argv[++i];
        if (flag == "--seed")
            settings.seed = std::strtoull(value.c_str(), nullptr, 10);
        else if (flag == "--count")
            settings.count = std::atoi(value.c_str());
        else if (flag == "--colour")
            settings.colour = std::atoi(value.c_str());
        else if (flag == "--check-every")
            settings.check_every = std::atoi(value.c_str());
        else if (flag == "--seconds")
            settings.seconds = std::atoi(value.c_str());
        else if (flag == "--keep")
            settings.keep = value;
        else if (flag == "--companion")
            settings.companion = value;
        else if (flag == "--cpu")
            settings.cpu = value == "1";
        else
            return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    Settings settings;
    settings.companion = VORN_COMPANION_PATH;
    if (!parse(argc, argv, settings)) {
        std::fprintf(stderr, "usage: vorn_program_check [--seed N] [--count N] [--colour N] [--check-every K] "
                             "[--seconds S] [--keep DIR] [--companion FILE] [--cpu 0|1]\n");
        return 2;
    }
    char work[] = "/tmp/vorn_programs_XXXXXX";
    if (!mkdtemp(work)) {
        std::fprintf(stderr, "vorn_program_check: no work directory\n");
        return 2;
    }
    settings.work = work;
    // glslang tells a stage by the file's extension.
    std::string companion = settings.work + "/companion.frag";
    if (!write_file(companion, read_file(settings.companion))) {
        std::fprintf(stderr, "vorn_program_check: cannot copy the companion source\n");
        return 2;
    }
    settings.companion = companion;
    if (!settings.keep.empty())
        ::mkdir(settings.keep.c_str(), 0755);
    QZ::SYSTEM::start_sequence();
    Tally tally;
    Checker checker(settings, tally);
    const int batch = 50;
    auto start = std::chrono::steady_clock::now();
    uint64_t next = 0;
    for (;;) {
        int left = settings.seconds > 0 ? batch : settings.count - int(next);
        if (left <= 0)
            break;
        int count = std::min(batch, left);
        checker.batch(next, count, false);
        next += uint64_t(count);
        double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (settings.seconds > 0) {
            std::printf("%.0f s: %d programs, %d faults so far\n", elapsed, tally.programs,
                        [&] { int n = 0; for (auto& f : tally.faults) n += f.second; return n; }());
            std::fflush(stdout);
            if (elapsed >= settings.seconds)
                break;
        }
    }
    int colour_programs = settings.seconds > 0 ? std::max(settings.colour, int(next / 10)) : settings.colour;
    for (int done = 0; done < colour_programs; done += batch)
        checker.batch(1000000000ull + uint64_t(done), std::min(batch, colour_programs - done), true);
    QZ::SYSTEM::stop_sequence();
    std::string command = "rm -rf " + settings.work;
    (void)std::system(command.c_str());

    int faults = 0;
    for (const auto& f : tally.faults)
        faults += f.second;
    double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("seed %llu: %d programs and %d colour programs in %.1f s; %d glslang links, %d HLSL checks, %d Mesa "
                "draws, %d CPU draws; %d faults",
                (unsigned long long)settings.seed, tally.programs, tally.colour_programs, elapsed, tally.glslang_links,
                tally.hlsl_checks, tally.mesa_draws, tally.cpu_draws, faults);
    for (const auto& f : tally.faults)
        std::printf(" %s:%d", f.first.c_str(), f.second);
    std::printf("\n");
    return faults == 0 ? 0 : 1;
}

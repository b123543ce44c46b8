// Runs a fuzz entry point without libFuzzer: over every file of its seed corpus, then over
// seeded random mutations of those seeds. Deterministic, and short enough for every test run.
#include <dirent.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "system/sequence.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::string> read_corpus(const std::string& directory)
{
    std::vector<std::string> seeds;
    DIR* dir = opendir(directory.c_str());
    if (!dir)
        return seeds;
    std::vector<std::string> names;
    while (dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.')
            names.push_back(entry->d_name);
    closedir(dir);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        std::ifstream in(directory + "/" + name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        seeds.push_back(text.str());
    }
    return seeds;
}

// Byte-level mutations of the kinds that find faults in readers: flips, cuts, splices, repeats.
std::string mutate(const std::string& seed, const std::vector<std::string>& seeds, std::mt19937& random)
{
    std::string out = seed;
    int steps = 1 + static_cast<int>(random() % 8);
    for (int step = 0; step < steps; ++step) {
        size_t at = out.empty() ? 0 : random() % (out.size() + 1);
        switch (random() % 6) {
        case 0:
            if (!out.empty() && at < out.size())
                out[at] = static_cast<char>(random());
            break;
        case 1:
            out.insert(at, 1, static_cast<char>(" \n(){}[];,.\"#*/\\<>=+-:0123456789"[random() % 33]));
            break;
        case 2:
            if (at < out.size())
                out.erase(at, 1 + random() % std::min<size_t>(16, out.size() - at));
            break;
        case 3: {
            const std::string& other = seeds[random() % seeds.size()];
            if (!other.empty()) {
                size_t from = random() % other.size();
                out.insert(at, other.substr(from, 1 + random() % 64));
            }
            break;
        }
        case 4:
            if (at < out.size()) {
                std::string piece = out.substr(at, 1 + random() % 8);
                for (int i = 0; i < 1 + static_cast<int>(random() % 40); ++i)
                    out.insert(at, piece);
            }
            break;
        case 5:
            out.resize(at);
            break;
        }
    }
    return out;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR ITERATIONS\n", argv[0]);
        return 2;
    }
    QZ::SYSTEM::start_sequence();
    std::vector<std::string> seeds = read_corpus(argv[1]);
    if (seeds.empty())
        seeds.push_back(std::string());
    for (const std::string& seed : seeds)
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(seed.data()), seed.size());
    long iterations = std::atol(argv[2]);
    std::mt19937 random(12345);
    for (long i = 0; i < iterations; ++i) {
        std::string input = mutate(seeds[random() % seeds.size()], seeds, random);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    }
    QZ::SYSTEM::stop_sequence();
    std::printf("%zu seeds and %ld mutations ran without a fault\n", seeds.size(), iterations);
    return 0;
}

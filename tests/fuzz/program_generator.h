// Random Ovrel programs that the language accepts: every type (matrices and structs too),
// arrays, operators, library functions, state, helpers that call each other in any order with
// in, out and inout parameters, loops, switch, enums, file-level values and arrays, annotations,
// and inputs that the body writes. The same seed gives the same program.
#pragma once

#include <cstdint>
#include <string>

namespace vorn_fuzz {

struct Generated_program {
    std::string source;
    // Colour programs only: the colour that the shader must draw everywhere, each channel in
    // [0, 1], worked out by the generator itself as it wrote the expressions.
    bool has_colour = false;
    double colour[4] = {0, 0, 0, 1};
};

// A program of the whole language, for validity.
Generated_program generate_program(uint64_t seed);

// A program whose result is one colour made of constant expressions (arithmetic, library
// functions, matrix products, helpers, arrays, struct members, conditions), for meaning.
Generated_program generate_colour_program(uint64_t seed);

}  // namespace vorn_fuzz

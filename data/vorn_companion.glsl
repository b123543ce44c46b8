// Vorn GLSL companion source.
//
// The fragment text of the "GL" target declares the helper functions below
// but does not define them; a host compiles this file as a second fragment
// shader and attaches it to the same program, so the linker resolves the
// declarations here. Only the overloads that the fragment text declares are
// defined, with the same parameter qualifiers.
//
// There is no #version line, as in the fragment text: both compile as GLSL
// 1.10. A host that puts a #version line in front of one must put the same
// line in front of the other.

// Lighting coefficients for one light, in the order a lighting equation
// consumes them:
//   x  the ambient weight, always 1;
//   y  the diffuse weight, the cosine between normal and light, clamped at 0;
//   z  the specular weight, the half-vector cosine raised to the exponent m,
//      or 0 when either the light or the half vector is behind the surface;
//   w  always 1.
vec4 illumination(float ndotl, float ndoth, float m)
{
    float specular = (ndotl < 0.0 || ndoth < 0.0) ? 0.0 : pow(ndoth, m);
    return vec4(1.0, max(ndotl, 0.0), specular, 1.0);
}

// Base-10 logarithm through log2: 1 / log2(10) is 0.30102999566398.
float log10(float x) { return log2(x) * 0.30102999566398; }
vec2 log10(vec2 x) { return log2(x) * 0.30102999566398; }
vec3 log10(vec3 x) { return log2(x) * 0.30102999566398; }
vec4 log10(vec4 x) { return log2(x) * 0.30102999566398; }

// Splits a into a whole part (into b) and a fraction (returned), both
// carrying the sign of a, so the whole part is truncated towards zero.
float modf(float a, out float b)
{
    b = sign(a) * floor(abs(a));
    return a - b;
}
vec2 modf(vec2 a, out vec2 b)
{
    b = sign(a) * floor(abs(a));
    return a - b;
}
vec3 modf(vec3 a, out vec3 b)
{
    b = sign(a) * floor(abs(a));
    return a - b;
}
vec4 modf(vec4 a, out vec4 b)
{
    b = sign(a) * floor(abs(a));
    return a - b;
}

// Nearest whole number; halves go away from zero, so round(-x) == -round(x).
float round(float x) { return sign(x) * floor(abs(x) + 0.5); }
vec2 round(vec2 x) { return sign(x) * floor(abs(x) + 0.5); }
vec3 round(vec3 x) { return sign(x) * floor(abs(x) + 0.5); }
vec4 round(vec4 x) { return sign(x) * floor(abs(x) + 0.5); }

// Clamp to the unit interval.
float saturate(float x) { return clamp(x, 0.0, 1.0); }
vec2 saturate(vec2 x) { return clamp(x, 0.0, 1.0); }
vec3 saturate(vec3 x) { return clamp(x, 0.0, 1.0); }
vec4 saturate(vec4 x) { return clamp(x, 0.0, 1.0); }

// Sine and cosine of the same angle in one call.
void sincos(float x, out float s, out float c)
{
    s = sin(x);
    c = cos(x);
}
void sincos(vec2 x, out vec2 s, out vec2 c)
{
    s = sin(x);
    c = cos(x);
}
void sincos(vec3 x, out vec3 s, out vec3 c)
{
    s = sin(x);
    c = cos(x);
}
void sincos(vec4 x, out vec4 s, out vec4 c)
{
    s = sin(x);
    c = cos(x);
}

// GLSL 1.10 has no transpose. A matrix constructor takes its scalars column
// by column, so listing each row of m in turn gives the transpose.
mat2 transpose(mat2 m)
{
    return mat2(m[0][0], m[1][0],
                m[0][1], m[1][1]);
}
mat3 transpose(mat3 m)
{
    return mat3(m[0][0], m[1][0], m[2][0],
                m[0][1], m[1][1], m[2][1],
                m[0][2], m[1][2], m[2][2]);
}
mat4 transpose(mat4 m)
{
    return mat4(m[0][0], m[1][0], m[2][0], m[3][0],
                m[0][1], m[1][1], m[2][1], m[3][1],
                m[0][2], m[1][2], m[2][2], m[3][2],
                m[0][3], m[1][3], m[2][3], m[3][3]);
}

// The sphere as a tessellated mesh, which the GL pair draws through Mesa, and the same triangles
// rasterised here for the CPU: pixel centres, values interpolated linearly on the screen (the
// camera is orthographic, so that is what GL's perspective-correct interpolation comes to).
#include <algorithm>
#include <cmath>

#include "preview.h"

namespace vorn_preview {

namespace {

constexpr float radius = 0.9f;
constexpr int segments = 48;  // in longitude, across the front half
constexpr int bands = 32;     // from the bottom pole to the top one
constexpr float pi = 3.14159265358979f;

// The vertex at longitude phi (0 faces the camera) and latitude theta (positive up).
Mesh_vertex sphere_vertex(float phi, float theta)
{
    const float cp = std::cos(phi), sp = std::sin(phi), ct = std::cos(theta), st = std::sin(theta);
    Mesh_vertex v{};
    const float n[3] = {ct * sp, st, ct * cp};
    for (int i = 0; i < 3; ++i) {
        v.normal[i] = n[i];
        v.position[i] = radius * n[i];
    }
    const float s = 0.5f + phi / (2 * pi), t = 0.5f + theta / pi;
    for (int unit = 0; unit < 4; ++unit) {
        v.tex_coord[unit][0] = s;
        v.tex_coord[unit][1] = t;
        v.tex_coord[unit][2] = 0.25f * float(unit);
        v.tex_coord[unit][3] = 1;
    }
    // Along rising s and rising t.
    const float tangent[4] = {cp, 0, -sp, 1}, binormal[4] = {-st * sp, ct, -st * cp, 1};
    std::copy(tangent, tangent + 4, v.tex_coord[4]);
    std::copy(binormal, binormal + 4, v.tex_coord[5]);
    return v;
}

float edge(const float* a, const float* b, float x, float y)
{
    return (b[0] - a[0]) * (y - a[1]) - (b[1] - a[1]) * (x - a[0]);
}

}  // namespace

const std::vector<Mesh_vertex>& sphere_triangles()
{
    static const std::vector<Mesh_vertex> triangles = [] {
        std::vector<Mesh_vertex> list;
        auto phi = [](int i) { return -pi / 2 + pi * float(i) / float(segments); };
        auto theta = [](int j) { return -pi / 2 + pi * float(j) / float(bands); };
        for (int j = 0; j < bands; ++j)
            for (int i = 0; i < segments; ++i) {
                const Mesh_vertex v00 = sphere_vertex(phi(i), theta(j)), v10 = sphere_vertex(phi(i + 1), theta(j));
                const Mesh_vertex v11 = sphere_vertex(phi(i + 1), theta(j + 1));
                const Mesh_vertex v01 = sphere_vertex(phi(i), theta(j + 1));
                // At a pole one triangle, its pole vertex at the middle longitude of the segment.
                const float middle = (phi(i) + phi(i + 1)) / 2;
                if (j == 0) {
                    list.insert(list.end(), {sphere_vertex(middle, theta(0)), v11, v01});
                } else if (j == bands - 1) {
                    list.insert(list.end(), {v00, v10, sphere_vertex(middle, theta(bands))});
                } else {
                    list.insert(list.end(), {v00, v10, v11});
                    list.insert(list.end(), {v00, v11, v01});
                }
            }
        return list;
    }();
    return triangles;
}

std::vector<Shading_point> shading_points(Shape shape, int width, int height)
{
    std::vector<Shading_point> points;
    if (width < 1 || height < 1)
        return points;
    if (shape == Shape::quad) {
        points.reserve(std::size_t(width) * std::size_t(height));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                points.push_back(quad_point(x, y, width, height));
        return points;
    }
    points.assign(std::size_t(width) * std::size_t(height), Shading_point{});
    const std::vector<Mesh_vertex>& triangles = sphere_triangles();
    for (std::size_t k = 0; k + 2 < triangles.size(); k += 3) {
        const Mesh_vertex* v[3] = {&triangles[k], &triangles[k + 1], &triangles[k + 2]};
        float window[3][2];
        for (int i = 0; i < 3; ++i) {
            window[i][0] = (v[i]->position[0] + 1) * 0.5f * float(width);
            window[i][1] = (v[i]->position[1] + 1) * 0.5f * float(height);
        }
        const float area = edge(window[0], window[1], window[2][0], window[2][1]);
        if (!(area > 0))
            continue;
        // How each barycentric weight changes one pixel right and one pixel up.
        float weight_dx[3], weight_dy[3];
        for (int i = 0; i < 3; ++i) {
            const float* b = window[(i + 1) % 3];
            const float* c = window[(i + 2) % 3];
            weight_dx[i] = (b[1] - c[1]) / area;
            weight_dy[i] = (c[0] - b[0]) / area;
        }
        const float low_x = std::min({window[0][0], window[1][0], window[2][0]});
        const float high_x = std::max({window[0][0], window[1][0], window[2][0]});
        const float low_y = std::min({window[0][1], window[1][1], window[2][1]});
        const float high_y = std::max({window[0][1], window[1][1], window[2][1]});
        const int x0 = std::max(0, int(std::floor(low_x - 0.5f))), x1 = std::min(width - 1, int(std::ceil(high_x)));
        const int y0 = std::max(0, int(std::floor(low_y - 0.5f))), y1 = std::min(height - 1, int(std::ceil(high_y)));
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const float cx = float(x) + 0.5f, cy = float(y) + 0.5f;
                float weight[3];
                for (int i = 0; i < 3; ++i)
                    weight[i] = edge(window[(i + 1) % 3], window[(i + 2) % 3], cx, cy) / area;
                if (weight[0] < 0 || weight[1] < 0 || weight[2] < 0)
                    continue;
                Shading_point& p = points[std::size_t(y) * std::size_t(width) + std::size_t(x)];
                p = Shading_point{};
                auto mix = [&](auto member, int n, float* out, const float* by) {
                    for (int c = 0; c < n; ++c) {
                        out[c] = 0;
                        for (int i = 0; i < 3; ++i)
                            out[c] += by[i] * member(*v[i])[c];
                    }
                };
                auto position = [](const Mesh_vertex& m) { return m.position; };
                auto normal = [](const Mesh_vertex& m) { return m.normal; };
                mix(position, 3, p.position, weight);
                p.position[2] -= 1;  // object to eye space
                mix(position, 3, p.position_dx, weight_dx);
                mix(position, 3, p.position_dy, weight_dy);
                mix(normal, 3, p.normal, weight);
                for (int unit = 0; unit < 4; ++unit)
                    mix([unit](const Mesh_vertex& m) { return m.tex_coord[unit]; }, 4, p.tex_coord[unit], weight);
                mix([](const Mesh_vertex& m) { return m.tex_coord[0]; }, 2, p.uv_dx, weight_dx);
                mix([](const Mesh_vertex& m) { return m.tex_coord[0]; }, 2, p.uv_dy, weight_dy);
                mix([](const Mesh_vertex& m) { return m.tex_coord[4]; }, 3, p.tangent, weight);
                mix([](const Mesh_vertex& m) { return m.tex_coord[5]; }, 3, p.binormal, weight);
                p.raster[0] = cx;
                p.raster[1] = cy;
                p.covered = 1;
            }
    }
    return points;
}

}  // namespace vorn_preview

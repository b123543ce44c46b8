// A PNG writer without compression: the image data goes into stored deflate blocks, which every
// PNG reader takes, so no compression library is needed.
#include <algorithm>

#include "preview.h"

namespace vorn_preview {

namespace {

std::uint32_t crc32(const std::string& bytes, std::size_t from)
{
    static std::uint32_t table[256];
    static bool ready = false;
    if (!ready) {
        for (std::uint32_t n = 0; n < 256; ++n) {
            std::uint32_t c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
            table[n] = c;
        }
        ready = true;
    }
    std::uint32_t c = 0xffffffffu;
    for (std::size_t i = from; i < bytes.size(); ++i)
        c = table[(c ^ std::uint8_t(bytes[i])) & 0xff] ^ (c >> 8);
    return c ^ 0xffffffffu;
}

void put_u32_big(std::string& out, std::uint32_t v)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(char((v >> shift) & 0xff));
}

void put_chunk(std::string& out, const char* type, const std::string& data)
{
    put_u32_big(out, std::uint32_t(data.size()));
    const std::size_t start = out.size();
    out += type;
    out += data;
    put_u32_big(out, crc32(out, start));
}

}  // namespace

std::string png_bytes(const Image& image)
{
    // Rows top first, each behind filter byte 0.
    std::string raw;
    const std::size_t row = std::size_t(image.width) * 4;
    for (int y = image.height - 1; y >= 0; --y) {
        raw.push_back('\0');
        raw.append(reinterpret_cast<const char*>(image.rgba.data()) + std::size_t(y) * row, row);
    }
    std::string z = "\x78\x01";
    std::size_t at = 0;
    do {
        const std::size_t length = std::min<std::size_t>(65535, raw.size() - at);
        const bool last = at + length == raw.size();
        z.push_back(last ? '\1' : '\0');
        z.push_back(char(length & 0xff));
        z.push_back(char(length >> 8));
        z.push_back(char(~length & 0xff));
        z.push_back(char((~length >> 8) & 0xff));
        z.append(raw, at, length);
        at += length;
    } while (at < raw.size());
    std::uint32_t a = 1, b = 0;
    for (char c : raw) {
        a = (a + std::uint8_t(c)) % 65521;
        b = (b + a) % 65521;
    }
    put_u32_big(z, (b << 16) | a);

    std::string header;
    put_u32_big(header, std::uint32_t(image.width));
    put_u32_big(header, std::uint32_t(image.height));
    header += std::string("\x08\x06\x00\x00\x00", 5);  // 8 bits, RGBA, deflate, no filter, no interlace
    std::string out("\x89PNG\r\n\x1a\n", 8);
    put_chunk(out, "IHDR", header);
    put_chunk(out, "IDAT", z);
    put_chunk(out, "IEND", "");
    return out;
}

}  // namespace vorn_preview

// The streams of the binary compiled file. A file is a 128-byte header in the clear, then the
// body and a 128-byte footer, both scrambled by the key that the header carries and guarded by a
// running sum over every typed value. All numbers are little-endian.
//
// Header: magic (2 bytes), major and minor version (1 byte each), 60 reserved bytes, the key
// (64 bytes). Footer before scrambling: magic, versions, 4 reserved bytes, the sum (4 bytes),
// 116 reserved bytes. Reserved bytes are written as zeros and never read.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "serial/serializer.h"

namespace QZ {
namespace BOVL {

constexpr uint16_t BIN_FILE_MAGIC = 59991;  // 0xEA57
constexpr uint8_t BIN_FILE_MAJOR = 1;
constexpr uint8_t BIN_FILE_MINOR = 0;
constexpr uint32_t BIN_FILE_FRAME_SIZE = 128;  // header and footer alike
constexpr uint32_t BIN_FILE_KEY_OFFSET = 64;
constexpr uint32_t BIN_FILE_KEY_SIZE = 64;
constexpr uint32_t BIN_FILE_SUM_OFFSET = 8;  // in the footer

// The current time in seconds; the serializer takes another for files that must not vary.
using Clock = double (*)();
double system_clock_seconds();

// The key made from a time in seconds: eight rounds of shifts and products, each giving eight
// bytes from the last down to the first, then every zero byte at position j replaced by j.
void make_key(double seconds, uint8_t key[BIN_FILE_KEY_SIZE]);

// What a value adds to the running sum: integers and bools their value taken to 32 bits (signed
// ones sign-extended first); floats their value truncated toward zero, modulo 2^32, and 0 for a
// value that is not finite.
inline uint32_t sum_term(uint64_t value) { return uint32_t(value); }
inline uint32_t sum_term(int64_t value) { return uint32_t(uint64_t(value)); }
uint32_t sum_term(double value);

class Bin_file_serializer : public SERIAL::Serializer {
public:
    // Nothing is opened before write_header. A null clock takes the system's.
    explicit Bin_file_serializer(const char* file_name, Clock clock = nullptr);
    ~Bin_file_serializer() override;

    // Opens the file for writing, makes the key and writes the header in the clear; the body
    // that follows is scrambled. False when the file cannot be opened or written.
    bool write_header();
    // The footer, scrambled from where the body left off; its bytes add nothing to the sum.
    // Everything still buffered is written: false if any write fell short.
    bool write_footer();
    void close();

    void write_float64(double value) override;
    void write_float32(float value) override;
    void write_sint64(int64_t value) override;
    void write_sint32(int32_t value) override;
    void write_sint16(int16_t value) override;
    void write_sint8(int8_t value) override;
    void write_uint64(uint64_t value) override;
    void write_uint32(uint32_t value) override;
    void write_uint16(uint16_t value) override;
    void write_uint8(uint8_t value) override;
    void write_bool(bool value) override;
    // Raw bytes: scrambled while a key position is set, never summed.
    void write_bytes(const void* data, uint32_t length) override;
    // The same bytes and sum as the length and one write_uint8 per byte, in one block.
    void write_string(const char* text) override;

    const uint8_t* header() const { return header_; }
    uint32_t sum() const { return sum_; }
    int32_t key_position() const { return key_position_; }

private:
    void put(uint64_t value, uint32_t width);
    void flush();

    std::string file_name_;
    std::FILE* file_ = nullptr;
    uint8_t header_[BIN_FILE_FRAME_SIZE] = {};
    uint32_t sum_ = 0;
    int32_t key_position_ = -1;  // -1: no scrambling
    Clock clock_;
    // Bytes on their way to the file, already scrambled; the file gets the same bytes as if
    // each value were written by itself.
    std::vector<uint8_t> buffer_;
    size_t filled_ = 0;
};

class Bin_file_deserializer : public SERIAL::Deserializer {
public:
    Bin_file_deserializer(const char* file_name, SERIAL::Deserialization_manager* manager);
    ~Bin_file_deserializer() override;

    // Opens the file and reads the header in the clear. False when it cannot be opened or read
    // whole; false with a logged message (module 145) for a foreign magic number (error 1), an
    // other major version (error 2) or a newer minor version (warning 1).
    bool read_header();
    // Reads the footer through the scrambling and compares it with the header and the running
    // sum; each mismatch logs "File is corrupted." (error 3, 4 or 5). False at once when the
    // body already fell short.
    bool read_footer();
    void close();

    void read_float64(double* value) override;
    void read_float32(float* value) override;
    void read_sint64(int64_t* value) override;
    void read_sint32(int32_t* value) override;
    void read_sint16(int16_t* value) override;
    void read_sint8(int8_t* value) override;
    void read_uint64(uint64_t* value) override;
    void read_uint32(uint32_t* value) override;
    void read_uint16(uint16_t* value) override;
    void read_uint8(uint8_t* value) override;
    void read_bool(bool* value) override;
    // A short read clears the good flag and zeroes the whole block.
    void read_bytes(void* data, uint32_t length) override;
    // The same as the length and one read_uint8 per byte, in one block.
    void read_string(char** text) override;
    bool read_text(std::string& out) override;

    uint64_t bytes_remaining() const override;

    const uint8_t* header() const { return header_; }
    const uint8_t* footer() const { return footer_; }
    uint32_t sum() const { return sum_; }

private:
    // The next value of WIDTH bytes, little-endian; 0 past the end.
    template <uint32_t WIDTH>
    uint64_t take();
    // Moves on by length bytes that were taken straight from the buffer.
    void advance(uint32_t length);
    // Fills the buffer from the file; false at its end.
    bool refill();
    // Logs the refusal of a frame, clears the good flag and returns false.
    bool refuse(bool warning, int32_t code, const char* text);
    // The length of a string, checked against what the file still holds; 0 for none.
    uint32_t read_text_length();
    // Unscrambles the buffer from index from on, once the key is known.
    void unscramble_buffer(size_t from);

    std::string file_name_;
    int file_ = -1;
    uint8_t header_[BIN_FILE_FRAME_SIZE] = {};
    uint8_t footer_[BIN_FILE_FRAME_SIZE] = {};
    uint32_t sum_ = 0;
    int32_t key_position_ = -1;
    bool size_known_ = false;
    uint64_t file_size_ = 0;
    uint64_t consumed_ = 0;
    // Bytes of the file as read, from the file offset buffer_offset_ on; past the header they
    // are unscrambled as they come in.
    std::vector<uint8_t> buffer_;
    uint64_t buffer_offset_ = 0;
    size_t buffer_position_ = 0;
};

}  // namespace BOVL
}  // namespace QZ

#include "bovl/bin_file_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>

#include "log/mod_log.h"

namespace QZ {
namespace BOVL {

namespace {

// Bytes are written to and read from the file in blocks of this size.
constexpr size_t BLOCK_SIZE = 64 * 1024;

void put_le(uint8_t* to, uint64_t value, uint32_t width)
{
    for (uint32_t i = 0; i < width; ++i)
        to[i] = uint8_t(value >> (8 * i));
}

uint64_t get_le(const uint8_t* from, uint32_t width)
{
    uint64_t value = 0;
    for (uint32_t i = 0; i < width; ++i)
        value |= uint64_t(from[i]) << (8 * i);
    return value;
}

// Magic and versions at the start of a frame; header and footer share them.
void fill_frame_start(uint8_t* frame)
{
    put_le(frame, BIN_FILE_MAGIC, 2);
    frame[2] = BIN_FILE_MAJOR;
    frame[3] = BIN_FILE_MINOR;
}

uint64_t double_to_uint64(double seconds)
{
    if (!(seconds >= 0))
        return 0;
    if (seconds >= 18446744073709551616.0)
        return UINT64_MAX;
    return uint64_t(seconds);
}

}  // namespace

double system_clock_seconds()
{
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

void make_key(double seconds, uint8_t key[BIN_FILE_KEY_SIZE])
{
    uint64_t x = double_to_uint64(seconds);
    uint32_t right = 32, left = 25;
    for (int round = 7; round >= 0; --round) {
        x = (x >> right) + (x << left) * x;
        put_le(key + 8 * round, x, 8);
        --right;
        ++left;
    }
    // A zero at position 0 stays 0; scrambling with it leaves that byte as it is.
    for (uint32_t j = 0; j < BIN_FILE_KEY_SIZE; ++j)
        if (key[j] == 0)
            key[j] = uint8_t(j);
}

uint32_t sum_term(double value)
{
    if (!std::isfinite(value))
        return 0;
    double wrapped = std::fmod(std::trunc(value), 4294967296.0);
    if (wrapped < 0)
        wrapped += 4294967296.0;
    return uint32_t(wrapped);
}

// ------------------------------------------------------------------------------------------
// Writing
// ------------------------------------------------------------------------------------------

Bin_file_serializer::Bin_file_serializer(const char* file_name, Clock clock)
    : file_name_(file_name ? file_name : ""), clock_(clock ? clock : system_clock_seconds)
{
}

Bin_file_serializer::~Bin_file_serializer()
{
    close();
}

bool Bin_file_serializer::write_header()
{
    fill_frame_start(header_);
    set_good();
    close();
    file_ = std::fopen(file_name_.c_str(), "wb");
    if (!file_) {
        set_failed();
        return false;
    }
    make_key(clock_(), header_ + BIN_FILE_KEY_OFFSET);
    key_position_ = -1;
    write_bytes(header_, BIN_FILE_FRAME_SIZE);
    sum_ = 0;
    key_position_ = 0;
    return good();
}

bool Bin_file_serializer::write_footer()
{
    if (!file_) {
        set_failed();
        return false;
    }
    uint8_t footer[BIN_FILE_FRAME_SIZE] = {};
    fill_frame_start(footer);
    put_le(footer + BIN_FILE_SUM_OFFSET, sum_, 4);
    write_bytes(footer, BIN_FILE_FRAME_SIZE);
    flush();
    return good();
}

void Bin_file_serializer::close()
{
    if (!file_)
        return;
    flush();
    if (std::fclose(file_) != 0)
        set_failed();
    file_ = nullptr;
}

void Bin_file_serializer::flush()
{
    if (filled_ == 0)
        return;
    if (!file_ || std::fwrite(buffer_.data(), 1, filled_, file_) != filled_)
        set_failed();
    else if (std::fflush(file_) != 0)
        set_failed();
    filled_ = 0;
}

void Bin_file_serializer::write_bytes(const void* data, uint32_t length)
{
    if (!file_) {
        set_failed();
        return;
    }
    if (buffer_.empty())
        buffer_.resize(BLOCK_SIZE);
    const auto* bytes = static_cast<const uint8_t*>(data);
    const uint8_t* key = header_ + BIN_FILE_KEY_OFFSET;
    while (length > 0) {
        uint32_t step = uint32_t(std::min<size_t>(length, BLOCK_SIZE - filled_));
        uint8_t* to = buffer_.data() + filled_;
        if (key_position_ < 0) {
            std::memcpy(to, bytes, step);
        } else {
            uint32_t position = uint32_t(key_position_);
            for (uint32_t i = 0; i < step; ++i) {
                to[i] = bytes[i] ^ key[position];
                position = (position + 1) % BIN_FILE_KEY_SIZE;
            }
            key_position_ = int32_t(position);
        }
        filled_ += step;
        bytes += step;
        length -= step;
        if (filled_ == BLOCK_SIZE)
            flush();
    }
}

void Bin_file_serializer::write_string(const char* text)
{
    size_t length = text ? std::strlen(text) : 0;
    if (length > UINT32_MAX)
        length = UINT32_MAX;
    write_uint32(uint32_t(length));
    if (length == 0)
        return;
    write_bytes(text, uint32_t(length));
    for (size_t i = 0; i < length; ++i)
        sum_ += uint8_t(text[i]);
}

void Bin_file_serializer::put(uint64_t value, uint32_t width)
{
    uint8_t bytes[8];
    put_le(bytes, value, width);
    write_bytes(bytes, width);
}

void Bin_file_serializer::write_float64(double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, 8);
    put(bits, 8);
    sum_ += sum_term(value);
}

void Bin_file_serializer::write_float32(float value)
{
    uint32_t bits;
    std::memcpy(&bits, &value, 4);
    put(bits, 4);
    sum_ += sum_term(double(value));
}

void Bin_file_serializer::write_sint64(int64_t value)
{
    put(uint64_t(value), 8);
    sum_ += sum_term(value);
}

void Bin_file_serializer::write_sint32(int32_t value)
{
    put(uint32_t(value), 4);
    sum_ += sum_term(int64_t(value));
}

void Bin_file_serializer::write_sint16(int16_t value)
{
    put(uint16_t(value), 2);
    sum_ += sum_term(int64_t(value));
}

void Bin_file_serializer::write_sint8(int8_t value)
{
    put(uint8_t(value), 1);
    sum_ += sum_term(int64_t(value));
}

void Bin_file_serializer::write_uint64(uint64_t value)
{
    put(value, 8);
    sum_ += sum_term(value);
}

void Bin_file_serializer::write_uint32(uint32_t value)
{
    put(value, 4);
    sum_ += value;
}

void Bin_file_serializer::write_uint16(uint16_t value)
{
    put(value, 2);
    sum_ += value;
}

void Bin_file_serializer::write_uint8(uint8_t value)
{
    put(value, 1);
    sum_ += value;
}

void Bin_file_serializer::write_bool(bool value)
{
    put(value ? 1 : 0, 1);
    sum_ += value ? 1 : 0;
}

// ------------------------------------------------------------------------------------------
// Reading
// ------------------------------------------------------------------------------------------

Bin_file_deserializer::Bin_file_deserializer(const char* file_name, SERIAL::Deserialization_manager* manager)
    : Deserializer(manager), file_name_(file_name ? file_name : "")
{
}

Bin_file_deserializer::~Bin_file_deserializer()
{
    close();
}

void Bin_file_deserializer::close()
{
    if (file_ >= 0)
        ::close(file_);
    file_ = -1;
}

bool Bin_file_deserializer::refuse(bool warning, int32_t code, const char* text)
{
    if (LOG::mod_log) {
        if (warning)
            LOG::mod_log->warning(SYSTEM::MODULE_BOVL, LOG::CAT_PLUG, code, "%s", text);
        else
            LOG::mod_log->error(SYSTEM::MODULE_BOVL, LOG::CAT_PLUG, code, "%s", text);
    }
    set_failed();
    return false;
}

bool Bin_file_deserializer::read_header()
{
    set_good();
    close();
    file_ = ::open(file_name_.c_str(), O_RDONLY | O_CLOEXEC);
    if (file_ < 0) {
        set_failed();
        return false;
    }
    struct stat status;
    // A pipe or device has no size to tell; its strings then grow as their bytes arrive.
    size_known_ = ::fstat(file_, &status) == 0 && S_ISREG(status.st_mode);
    file_size_ = size_known_ ? uint64_t(status.st_size) : 0;
    consumed_ = 0;
    buffer_.clear();
    buffer_offset_ = 0;
    buffer_position_ = 0;
    key_position_ = -1;
    read_bytes(header_, BIN_FILE_FRAME_SIZE);
    if (!good())
        return false;
    if (get_le(header_, 2) != BIN_FILE_MAGIC)
        return refuse(false, 1, "Magic number does not match.");
    if (header_[2] != BIN_FILE_MAJOR)
        return refuse(false, 2, "Major version does not match.");
    if (header_[3] > BIN_FILE_MINOR)
        return refuse(true, 1, "Minor version of file is greater than that of importer.");
    sum_ = 0;
    key_position_ = 0;
    // From here on, bytes are unscrambled as they come into the buffer.
    unscramble_buffer(buffer_position_);
    return true;
}

bool Bin_file_deserializer::read_footer()
{
    if (file_ < 0) {
        set_failed();
        return false;
    }
    read_bytes(footer_, BIN_FILE_FRAME_SIZE);
    if (!good())
        return false;
    if (get_le(footer_, 2) != get_le(header_, 2))
        return refuse(false, 3, "File is corrupted.");
    if (footer_[2] != header_[2])
        return refuse(false, 4, "File is corrupted.");
    if (footer_[3] != header_[3] || get_le(footer_ + BIN_FILE_SUM_OFFSET, 4) != sum_)
        return refuse(false, 5, "File is corrupted.");
    return true;
}

uint64_t Bin_file_deserializer::bytes_remaining() const
{
    if (!size_known_)
        return UNKNOWN_REMAINING;
    return file_size_ > consumed_ ? file_size_ - consumed_ : 0;
}

bool Bin_file_deserializer::refill()
{
    if (file_ < 0)
        return false;
    // A small file is read in one piece of its own size.
    size_t want = size_known_ ? size_t(std::min<uint64_t>(BLOCK_SIZE, std::max<uint64_t>(bytes_remaining(), 1)))
                              : BLOCK_SIZE;
    buffer_offset_ += buffer_.size();
    buffer_.resize(want);
    ssize_t got;
    do
        got = ::read(file_, buffer_.data(), want);
    while (got < 0 && errno == EINTR);
    buffer_.resize(got > 0 ? size_t(got) : 0);
    buffer_position_ = 0;
    unscramble_buffer(0);
    return got > 0;
}

void Bin_file_deserializer::unscramble_buffer(size_t from)
{
    // A byte's key position follows from its place in the file, counted from the body's start.
    if (key_position_ < 0 || from >= buffer_.size())
        return;
    const uint8_t* key = header_ + BIN_FILE_KEY_OFFSET;
    // The key turned to start at the first byte, so that whole runs of 64 bytes go at once.
    uint8_t turned[BIN_FILE_KEY_SIZE];
    size_t start = size_t((buffer_offset_ + from - BIN_FILE_FRAME_SIZE) % BIN_FILE_KEY_SIZE);
    for (size_t j = 0; j < BIN_FILE_KEY_SIZE; ++j)
        turned[j] = key[(start + j) % BIN_FILE_KEY_SIZE];
    uint8_t* bytes = buffer_.data() + from;
    size_t length = buffer_.size() - from;
    size_t i = 0;
    for (; i + BIN_FILE_KEY_SIZE <= length; i += BIN_FILE_KEY_SIZE)
        for (size_t j = 0; j < BIN_FILE_KEY_SIZE; ++j)
            bytes[i + j] ^= turned[j];
    for (size_t j = 0; i + j < length; ++j)
        bytes[i + j] ^= turned[j];
}

void Bin_file_deserializer::read_bytes(void* data, uint32_t length)
{
    auto* bytes = static_cast<uint8_t*>(data);
    uint32_t done = 0;
    while (done < length) {
        if (buffer_position_ == buffer_.size() && !refill())
            break;
        size_t step = std::min<size_t>(length - done, buffer_.size() - buffer_position_);
        std::memcpy(bytes + done, buffer_.data() + buffer_position_, step);
        buffer_position_ += step;
        done += uint32_t(step);
    }
    consumed_ += done;
    if (key_position_ >= 0)
        key_position_ = int32_t((uint32_t(key_position_) + done) % BIN_FILE_KEY_SIZE);
    if (done < length) {
        std::memset(bytes, 0, length);
        set_failed();
    }
}

uint32_t Bin_file_deserializer::read_text_length()
{
    uint32_t length = 0;
    read_uint32(&length);
    if (length == 0 || !good())
        return 0;
    // A length beyond the file is a corrupt one: refuse it rather than allocate it.
    if (size_known_ && length > bytes_remaining()) {
        set_failed();
        return 0;
    }
    return length;
}

bool Bin_file_deserializer::read_text(std::string& out)
{
    out.clear();
    uint32_t length = read_text_length();
    if (length == 0)
        return false;
    if (buffer_.size() - buffer_position_ >= length) {
        const uint8_t* bytes = buffer_.data() + buffer_position_;
        out.assign(reinterpret_cast<const char*>(bytes), length);
        advance(length);
    } else {
        // Across the end of the buffer, or without a size to check the length against: the
        // text grows as its bytes arrive.
        for (uint32_t i = 0; i < length && good(); ++i) {
            uint8_t byte = 0;
            read_bytes(&byte, 1);
            out.push_back(char(byte));
        }
    }
    if (!good()) {
        out.clear();
        return false;
    }
    uint32_t sum = 0;
    for (unsigned char byte : out)
        sum += byte;
    sum_ += sum;
    return true;
}

void Bin_file_deserializer::read_string(char** text)
{
    *text = nullptr;
    std::string read;
    if (!read_text(read))
        return;
    *text = new char[read.size() + 1];
    std::memcpy(*text, read.c_str(), read.size() + 1);
}

void Bin_file_deserializer::advance(uint32_t length)
{
    buffer_position_ += length;
    consumed_ += length;
    if (key_position_ >= 0)
        key_position_ = int32_t((uint32_t(key_position_) + length) % BIN_FILE_KEY_SIZE);
}

template <uint32_t WIDTH>
uint64_t Bin_file_deserializer::take()
{
    // Most values lie whole in the buffer, which holds them unscrambled.
    if (buffer_.size() - buffer_position_ >= WIDTH) {
        const uint8_t* from = buffer_.data() + buffer_position_;
        uint64_t value = 0;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        // A copy of a fixed width is one load.
        std::memcpy(&value, from, WIDTH);
#else
        value = get_le(from, WIDTH);
#endif
        advance(WIDTH);
        return value;
    }
    uint8_t bytes[8];
    read_bytes(bytes, WIDTH);
    return get_le(bytes, WIDTH);
}

void Bin_file_deserializer::read_float64(double* value)
{
    uint64_t bits = take<8>();
    std::memcpy(value, &bits, 8);
    sum_ += sum_term(*value);
}

void Bin_file_deserializer::read_float32(float* value)
{
    uint32_t bits = uint32_t(take<4>());
    std::memcpy(value, &bits, 4);
    sum_ += sum_term(double(*value));
}

void Bin_file_deserializer::read_sint64(int64_t* value)
{
    *value = int64_t(take<8>());
    sum_ += sum_term(*value);
}

void Bin_file_deserializer::read_sint32(int32_t* value)
{
    *value = int32_t(uint32_t(take<4>()));
    sum_ += sum_term(int64_t(*value));
}

void Bin_file_deserializer::read_sint16(int16_t* value)
{
    *value = int16_t(uint16_t(take<2>()));
    sum_ += sum_term(int64_t(*value));
}

void Bin_file_deserializer::read_sint8(int8_t* value)
{
    *value = int8_t(uint8_t(take<1>()));
    sum_ += sum_term(int64_t(*value));
}

void Bin_file_deserializer::read_uint64(uint64_t* value)
{
    *value = take<8>();
    sum_ += sum_term(*value);
}

void Bin_file_deserializer::read_uint32(uint32_t* value)
{
    *value = uint32_t(take<4>());
    sum_ += *value;
}

void Bin_file_deserializer::read_uint16(uint16_t* value)
{
    *value = uint16_t(take<2>());
    sum_ += *value;
}

void Bin_file_deserializer::read_uint8(uint8_t* value)
{
    *value = uint8_t(take<1>());
    sum_ += *value;
}

void Bin_file_deserializer::read_bool(bool* value)
{
    uint8_t byte = uint8_t(take<1>());
    // Any byte but 0 reads as true and counts as 1, as a written true does.
    *value = byte != 0;
    sum_ += *value ? 1 : 0;
}

}  // namespace BOVL
}  // namespace QZ

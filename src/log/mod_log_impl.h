// The log module's implementation, visible to tests for its limits and targets.
#pragma once

#include <mutex>
#include <vector>

#include "log/mod_log.h"

namespace QZ {
namespace LOG {

class Log_target_stderr : public Mod_log::Log_target {
public:
    bool message(int32_t module, int32_t category, int32_t code, int32_t severity, const char* prefix,
                 const char* line, bool handled) override;
    bool coloring = false;
};

class Log_target_debugger : public Mod_log::Log_target {
public:
    bool message(int32_t module, int32_t category, int32_t code, int32_t severity, const char* prefix,
                 const char* line, bool handled) override;
    bool enabled = false;
};

class Mod_log_impl : public Mod_log {
public:
    static constexpr size_t FORMAT_BUFFER_SIZE = 65536;
    static constexpr size_t PREFIX_BUFFER_SIZE = 101;
    static constexpr size_t LINE_BUFFER_SIZE = 8193;
    static constexpr size_t LINE_PIECE = LINE_BUFFER_SIZE - 1;

    Mod_log_impl();
    ~Mod_log_impl() override;

    [[noreturn]] void fatal(int32_t module, int32_t category, int32_t code, const char* format, ...) override
        QZ_PRINTF(5, 6);
    void error(int32_t module, int32_t category, int32_t code, const char* format, ...) override
        QZ_PRINTF(5, 6);
    void warning(int32_t module, int32_t category, int32_t code, const char* format, ...) override
        QZ_PRINTF(5, 6);
    void stat(int32_t module, int32_t category, const char* format, ...) override QZ_PRINTF(4, 5);
    void vstat(int32_t module, int32_t category, const char* format, ...) override QZ_PRINTF(4, 5);
    void progress(int32_t module, int32_t category, int32_t code, const char* format, ...) override
        QZ_PRINTF(5, 6);
    void info(int32_t module, int32_t category, const char* format, ...) override QZ_PRINTF(4, 5);
    void debug(int32_t module, int32_t category, const char* format, ...) override QZ_PRINTF(4, 5);
    void vdebug(int32_t module, int32_t category, const char* format, ...) override QZ_PRINTF(4, 5);
    void assertion(int32_t module, const char* expression, const char* file, int32_t line) override;
    void set_severity_limit(uint32_t mask) override;
    uint32_t get_severity_limit() override;
    uint32_t get_category_limit(int32_t category) override;
    void set_category_limit(int32_t category, uint32_t mask) override;
    bool get_prefix(uint32_t bits) override;
    void set_prefix(uint32_t bits, uint8_t on) override;
    void set_host_number(uint32_t number) override;
    void add_target(Log_target* target) override;
    void remove_target(Log_target* target) override;
    void deliver(int32_t module, int32_t category, int32_t code, int32_t severity, const char* prefix,
                 const char* line, bool handled) override;
    void vlog(int32_t module, int32_t category, int32_t code, int32_t severity, const char* format,
              va_list values) override;

    // One embedding may route lines here first (fatal) or last (unhandled warnings and worse).
    void set_override_target(Log_target* target) { override_target_ = target; }
    Log_target_stderr& stderr_target() { return stderr_target_; }
    Log_target_debugger& debugger_target() { return debugger_target_; }

    // The reference code shown in the code field of the prefix.
    static int32_t reference_code(int32_t module, int32_t category, int32_t code, int32_t severity);

    // Reads the settings from the configuration module once it exists.
    void configure();

    // Test hook: what fatal does after delivery instead of ending the process.
    using Exit_function = void (*)(int status);
    void set_exit_function(Exit_function function) { exit_function_ = function; }

private:
    bool passes(int32_t category, int32_t severity) const;
    void vlog_unchecked(int32_t module, int32_t category, int32_t code, int32_t severity,
                        const char* format, va_list values);
    void emit_text(int32_t module, int32_t category, int32_t code, int32_t severity, const char* text);
    void emit_line(int32_t module, int32_t category, int32_t code, int32_t severity, const char* text,
                   size_t length);
    void build_prefix(int32_t module, int32_t category, int32_t code, int32_t severity);
    bool default_delivery(int32_t module, int32_t category, int32_t code, int32_t severity,
                          const char* prefix, const char* line, bool handled);

    char* format_buffer_;
    char* prefix_buffer_;
    char* line_buffer_;
    uint32_t severity_limit_ = DEFAULT_SEVERITY_LIMIT;
    uint32_t category_limits_[CATEGORY_COUNT];
    uint32_t prefix_bits_ = DEFAULT_PREFIX_BITS;
    uint32_t coloring_ = 0;
    uint32_t assert_is_fatal_ = 1;
    bool configured_ = false;
    uint32_t host_number_ = 0;
    std::recursive_mutex lock_;
    Log_target_stderr stderr_target_;
    Log_target_debugger debugger_target_;
    Log_target* override_target_ = nullptr;
    std::vector<Log_target*> extra_targets_;
    Exit_function exit_function_ = nullptr;
    int depth_ = 0;  // guards against a target that logs from inside delivery
};

}  // namespace LOG
}  // namespace QZ

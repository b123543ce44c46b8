// The one place where operational messages go: severities, categories, limits and targets.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "system/module.h"

#if defined(__GNUC__)
#define QZ_PRINTF(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))
#else
#define QZ_PRINTF(fmt_index, first_arg)
#endif

namespace QZ {
namespace LOG {

// ORDER: the severity numbers index the name and colour tables in mod_log.cpp.
enum Severity : int32_t {
    SEV_FATAL = 0,
    SEV_ERROR = 1,
    SEV_WARN = 2,
    SEV_STAT = 3,
    SEV_VSTAT = 4,
    SEV_PROGRESS = 5,
    SEV_PERCENT = 6,
    SEV_TIME = 7,
    SEV_INFO = 8,
    SEV_DEBUG = 9,
    SEV_VDEBUG = 10,
    SEV_ASSERT = 11,
};
constexpr int32_t SEVERITY_COUNT = 12;

inline uint32_t severity_bit(int32_t severity) { return 1u << severity; }

// ORDER: the category numbers index the category name table in mod_log.cpp.
enum Category : int32_t {
    CAT_MAIN = 0,
    CAT_NET = 1,
    CAT_MEM = 2,
    CAT_DB = 3,
    CAT_DISK = 4,
    CAT_PLUG = 5,
    CAT_CLNT = 6,
    CAT_REND = 7,
    CAT_GEO = 8,
    CAT_IMG = 9,
    CAT_IO = 10,
    CAT_TRAC = 11,
    CAT_MISC = 12,
    CAT_GPU = 13,
    CAT_PREP = 14,
};
constexpr int32_t CATEGORY_COUNT = 15;
constexpr int32_t ALL_CATEGORIES = 65535;

// Prefix field bits.
enum Prefix_bits : uint32_t {
    PREFIX_NET = 1,
    PREFIX_CODE = 2,
    PREFIX_TIME = 4,
    PREFIX_TRANSACTION = 8,
    PREFIX_MODULE = 16,
    PREFIX_CATEGORY = 32,
    PREFIX_SEVERITY = 64,
};

constexpr uint32_t DEFAULT_SEVERITY_LIMIT = 2543;
constexpr uint32_t DEFAULT_PREFIX_BITS = 113;

const char* severity_name(int32_t severity);
const char* category_name(int32_t category);

class Mod_log : public SYSTEM::Module {
public:
    // A destination for log lines. Returns true if it handled the line.
    class Log_target {
    public:
        virtual ~Log_target() = default;
        virtual bool message(int32_t module, int32_t category, int32_t code, int32_t severity,
                             const char* prefix, const char* line, bool handled) = 0;
    };

    Mod_log() : Module(SYSTEM::MODULE_LOG, "LOG") {}
    ~Mod_log() override = default;

    [[noreturn]] virtual void fatal(int32_t module, int32_t category, int32_t code, const char* format, ...)
        QZ_PRINTF(5, 6) = 0;
    virtual void error(int32_t module, int32_t category, int32_t code, const char* format, ...)
        QZ_PRINTF(5, 6) = 0;
    virtual void warning(int32_t module, int32_t category, int32_t code, const char* format, ...)
        QZ_PRINTF(5, 6) = 0;
    virtual void stat(int32_t module, int32_t category, const char* format, ...) QZ_PRINTF(4, 5) = 0;
    virtual void vstat(int32_t module, int32_t category, const char* format, ...) QZ_PRINTF(4, 5) = 0;
    virtual void progress(int32_t module, int32_t category, int32_t code, const char* format, ...)
        QZ_PRINTF(5, 6) = 0;
    virtual void info(int32_t module, int32_t category, const char* format, ...) QZ_PRINTF(4, 5) = 0;
    virtual void debug(int32_t module, int32_t category, const char* format, ...) QZ_PRINTF(4, 5) = 0;
    virtual void vdebug(int32_t module, int32_t category, const char* format, ...) QZ_PRINTF(4, 5) = 0;
    virtual void assertion(int32_t module, const char* expression, const char* file, int32_t line) = 0;
    virtual void set_severity_limit(uint32_t mask) = 0;
    virtual uint32_t get_severity_limit() = 0;
    virtual uint32_t get_category_limit(int32_t category) = 0;
    virtual void set_category_limit(int32_t category, uint32_t mask) = 0;
    virtual bool get_prefix(uint32_t bits) = 0;
    virtual void set_prefix(uint32_t bits, uint8_t on) = 0;
    virtual void set_host_number(uint32_t number) = 0;
    virtual void add_target(Log_target* target) = 0;
    virtual void remove_target(Log_target* target) = 0;
    virtual void deliver(int32_t module, int32_t category, int32_t code, int32_t severity,
                         const char* prefix, const char* line, bool handled) = 0;
    virtual void vlog(int32_t module, int32_t category, int32_t code, int32_t severity,
                      const char* format, va_list values) = 0;
};

// The running log module; null outside the life of the library.
extern Mod_log* mod_log;

void start();
void stop();

}  // namespace LOG
}  // namespace QZ

#include "log/mod_log_impl.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "system/mod_conf.h"
#include "system/growth.h"
#include "system/mod_hal.h"
#include "system/mod_mem.h"

namespace QZ {
namespace LOG {

Mod_log* mod_log = nullptr;

namespace {

// ORDER: Severity.
const char* const severity_names[SEVERITY_COUNT] = {
    "fatal", "error", "warn", "stat", "vstat", "progr", "perct", "time", "info", "debug", "vdebg", "assrt",
};

// ORDER: Severity. Console colour of each severity on the stderr target.
const int severity_colours[SEVERITY_COUNT] = {6, 2, 3, 4, 4, 0, 0, 4, 0, 7, 5, 6};

// ORDER: Category.
const char* const category_names[CATEGORY_COUNT] = {
    "main", "net", "mem", "db", "disk", "plug", "clnt", "rend", "geo", "img", "io", "trac", "misc", "gpu", "prep",
};

constexpr uint32_t ALL_SEVERITIES = 65535;

// Appends formatted text to a fixed buffer, never past its end.
void append(char* buffer, size_t size, size_t& used, const char* format, ...) QZ_PRINTF(4, 5);
void append(char* buffer, size_t size, size_t& used, const char* format, ...)
{
    if (used + 1 >= size)
        return;
    va_list values;
    va_start(values, format);
    int written = std::vsnprintf(buffer + used, size - used, format, values);
    va_end(values);
    if (written > 0)
        used = std::min(size - 1, used + static_cast<size_t>(written));
}

}  // namespace

const char* severity_name(int32_t severity)
{
    return severity >= 0 && severity < SEVERITY_COUNT ? severity_names[severity] : "?";
}

const char* category_name(int32_t category)
{
    return category >= 0 && category < CATEGORY_COUNT ? category_names[category] : "?";
}

bool Log_target_stderr::message(int32_t, int32_t, int32_t, int32_t severity, const char* prefix,
                                const char* line, bool)
{
    bool colour = coloring && severity >= 0 && severity < SEVERITY_COUNT;
    if (colour)
        std::fprintf(stderr, "\033[%dm", severity_colours[severity] ? 30 + severity_colours[severity] : 0);
    std::fprintf(stderr, "%s %s", prefix, line);
    if (colour)
        std::fputs("\033[0m", stderr);
    std::fputc('\n', stderr);
    return true;
}

bool Log_target_debugger::message(int32_t, int32_t, int32_t, int32_t, const char* prefix, const char* line,
                                  bool)
{
    // Without a debugger stream of its own, the platform's debug output is standard error.
    if (enabled)
        std::fprintf(stderr, "%s %s\n", prefix, line);
    return enabled;
}

Mod_log_impl::Mod_log_impl()
{
    // All buffers are allocated once, so that logging itself never allocates.
    SYSTEM::Mod_mem& mem = SYSTEM::memory();
    format_buffer_ = static_cast<char*>(mem.allocate(FORMAT_BUFFER_SIZE));
    prefix_buffer_ = static_cast<char*>(mem.allocate(PREFIX_BUFFER_SIZE));
    line_buffer_ = static_cast<char*>(mem.allocate(LINE_BUFFER_SIZE));
    format_buffer_[0] = prefix_buffer_[0] = line_buffer_[0] = '\0';
    for (int32_t category = 0; category < CATEGORY_COUNT; ++category)
        category_limits_[category] = 65535;
    category_limits_[CAT_TRAC] = category_limits_[CAT_GPU] = category_limits_[CAT_PREP] = 0;
    extra_targets_.reserve(8);
}

Mod_log_impl::~Mod_log_impl()
{
    if (SYSTEM::mod_conf && configured_) {
        SYSTEM::mod_conf->unregister(SYSTEM::MODULE_LOG, "coloring");
        SYSTEM::mod_conf->unregister(SYSTEM::MODULE_LOG, "assert_is_fatal");
        SYSTEM::mod_conf->unregister(SYSTEM::MODULE_LOG, "prefix");
        SYSTEM::mod_conf->unregister(SYSTEM::MODULE_LOG, "severity_limit");
        for (int32_t category = 0; category < CATEGORY_COUNT; ++category)
            SYSTEM::mod_conf->unregister(SYSTEM::MODULE_LOG,
                                         std::string("severity_for_") + category_names[category]);
    }
    SYSTEM::Mod_mem& mem = SYSTEM::memory();
    mem.release(format_buffer_);
    mem.release(prefix_buffer_);
    mem.release(line_buffer_);
}

void Mod_log_impl::configure()
{
    if (configured_ || !SYSTEM::mod_conf)
        return;
    configured_ = true;
    SYSTEM::Mod_conf& conf = *SYSTEM::mod_conf;
    const int32_t group = SYSTEM::MODULE_LOG;
    conf.register_number(group, "coloring", "show messages in ANSI colors", &coloring_);
    conf.register_number(group, "assert_is_fatal", "failed assertions kill the process if 1", &assert_is_fatal_);
    conf.register_number(group, "prefix",
                         "optional prefix header info for each message: sum of 1=net, 2=code, 4=time, "
                         "8=transaction, 16=module, 32=category, 64=severity",
                         &prefix_bits_);
    std::string description = "only show messages with these severities, sum of ";
    char part[64];
    for (int32_t severity = 0; severity < SEVERITY_COUNT; ++severity) {
        std::snprintf(part, sizeof part, "%s%s=%d", severity ? ", " : "", severity_names[severity],
                      1 << severity);
        description += part;
    }
    conf.register_number(group, "severity_limit", description, &severity_limit_);
    for (int32_t category = 0; category < CATEGORY_COUNT; ++category)
        conf.register_number(group, std::string("severity_for_") + category_names[category],
                             "severity limit sum for category", &category_limits_[category]);
    stderr_target_.coloring = coloring_ != 0;
}

bool Mod_log_impl::passes(int32_t category, int32_t severity) const
{
    if (category < 0 || category >= CATEGORY_COUNT)
        category = CAT_MISC;
    uint32_t bit = severity_bit(severity);
    return (severity_limit_ & bit) && (category_limits_[category] & bit);
}

#define QZ_LOG_FORWARD(severity, code)                                   \
    do {                                                                 \
        if (!configured_)                                                \
            configure();                                                 \
        if (!passes(category, severity))                                 \
            return;                                                      \
        va_list values;                                                  \
        va_start(values, format);                                        \
        vlog_unchecked(module, category, code, severity, format, values); \
        va_end(values);                                                  \
    } while (0)

void Mod_log_impl::fatal(int32_t module, int32_t category, int32_t code, const char* format, ...)
{
    if (!configured_)
        configure();
    if (passes(category, SEV_FATAL)) {
        va_list values;
        va_start(values, format);
        vlog_unchecked(module, category, code, SEV_FATAL, format, values);
        va_end(values);
    }
    // With no console the message was shown by the delivery above; there is no message box here.
    if (SYSTEM::mod_hal && SYSTEM::mod_hal->has_console())
        SYSTEM::mod_hal->sleep_seconds(3.0);
    if (exit_function_)
        exit_function_(1);
    std::exit(1);
}

void Mod_log_impl::error(int32_t module, int32_t category, int32_t code, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_ERROR, code);
}

void Mod_log_impl::warning(int32_t module, int32_t category, int32_t code, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_WARN, code);
}

void Mod_log_impl::stat(int32_t module, int32_t category, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_STAT, 0);
}

void Mod_log_impl::vstat(int32_t module, int32_t category, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_VSTAT, 0);
}

void Mod_log_impl::progress(int32_t module, int32_t category, int32_t code, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_PROGRESS, code);
}

void Mod_log_impl::info(int32_t module, int32_t category, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_INFO, 0);
}

void Mod_log_impl::debug(int32_t module, int32_t category, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_DEBUG, 0);
}

void Mod_log_impl::vdebug(int32_t module, int32_t category, const char* format, ...)
{
    QZ_LOG_FORWARD(SEV_VDEBUG, 0);
}

#undef QZ_LOG_FORWARD

void Mod_log_impl::assertion(int32_t module, const char* expression, const char* file, int32_t line)
{
    if (!configured_)
        configure();
    char text[1024];
    std::snprintf(text, sizeof text, "assertion failed in %s %d: \"%s\"", file ? file : "?", line,
                  expression ? expression : "?");
    if (module == SYSTEM::MODULE_LOG) {
        // A fault inside logging must not come back into delivery.
        std::fprintf(stderr, "%s\n", text);
    } else {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        emit_text(module, CAT_MAIN, 0, SEV_ASSERT, text);
    }
    if (assert_is_fatal_)
        std::abort();
}

void Mod_log_impl::set_severity_limit(uint32_t mask)
{
    if (!configured_)
        configure();
    severity_limit_ = mask;
}

uint32_t Mod_log_impl::get_severity_limit()
{
    if (!configured_)
        configure();
    return severity_limit_;
}

uint32_t Mod_log_impl::get_category_limit(int32_t category)
{
    if (!configured_)
        configure();
    return category >= 0 && category < CATEGORY_COUNT ? category_limits_[category] : 0;
}

void Mod_log_impl::set_category_limit(int32_t category, uint32_t mask)
{
    if (!configured_)
        configure();
    if (category == ALL_CATEGORIES) {
        for (uint32_t& limit : category_limits_)
            limit = mask;
    } else if (category >= 0 && category < CATEGORY_COUNT) {
        category_limits_[category] = mask;
    } else {
        return;
    }
    severity_limit_ |= mask;
}

bool Mod_log_impl::get_prefix(uint32_t bits)
{
    if (!configured_)
        configure();
    return (prefix_bits_ & bits) != 0;
}

void Mod_log_impl::set_prefix(uint32_t bits, uint8_t on)
{
    if (!configured_)
        configure();
    if (on)
        prefix_bits_ |= bits;
    else
        prefix_bits_ &= ~bits;
}

void Mod_log_impl::set_host_number(uint32_t number)
{
    if (!configured_)
        configure();
    host_number_ = number;
}

void Mod_log_impl::add_target(Log_target* target)
{
    if (!configured_)
        configure();
    if (!target)
        return;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    SYSTEM::reserve_for_one_more(extra_targets_);
    extra_targets_.push_back(target);
}

void Mod_log_impl::remove_target(Log_target* target)
{
    if (!configured_)
        configure();
    std::lock_guard<std::recursive_mutex> guard(lock_);
    for (auto it = extra_targets_.begin(); it != extra_targets_.end(); ++it) {
        if (*it == target) {
            extra_targets_.erase(it);
            return;
        }
    }
}

int32_t Mod_log_impl::reference_code(int32_t module, int32_t category, int32_t code, int32_t severity)
{
    return (severity + (module * 100 + category) * 10) * 1000 + code;
}

void Mod_log_impl::vlog(int32_t module, int32_t category, int32_t code, int32_t severity, const char* format,
                        va_list values)
{
    if (!configured_)
        configure();
    if (!passes(category, severity))
        return;
    vlog_unchecked(module, category, code, severity, format, values);
}

void Mod_log_impl::vlog_unchecked(int32_t module, int32_t category, int32_t code, int32_t severity,
                                  const char* format, va_list values)
{
    std::lock_guard<std::recursive_mutex> guard(lock_);
    if (depth_ > 0) {
        // A target logged from inside delivery: the shared buffers are in use, so write directly.
        std::vfprintf(stderr, format ? format : "", values);
        std::fputc('\n', stderr);
        return;
    }
    const size_t last = FORMAT_BUFFER_SIZE - 1;
    format_buffer_[last] = '\0';
    int written = std::vsnprintf(format_buffer_, FORMAT_BUFFER_SIZE, format ? format : "", values);
    if (written < 0)
        format_buffer_[0] = '\0';
    else if (static_cast<size_t>(written) >= last)
        std::memcpy(format_buffer_ + last - 3, "...", 3);
    emit_text(module, category, code, severity, format_buffer_);
}

void Mod_log_impl::emit_text(int32_t module, int32_t category, int32_t code, int32_t severity, const char* text)
{
    // A line ends at LF or CR; LF CR and CR LF count as one end. A trailing end adds no line.
    const char* start = text;
    const char* p = text;
    for (;;) {
        if (*p == '\n' || *p == '\r') {
            emit_line(module, category, code, severity, start, static_cast<size_t>(p - start));
            char first = *p++;
            if ((*p == '\n' || *p == '\r') && *p != first)
                ++p;
            start = p;
            if (!*p)
                return;
        } else if (!*p) {
            emit_line(module, category, code, severity, start, static_cast<size_t>(p - start));
            return;
        } else {
            ++p;
        }
    }
}

void Mod_log_impl::emit_line(int32_t module, int32_t category, int32_t code, int32_t severity, const char* text,
                             size_t length)
{
    build_prefix(module, category, code, severity);
    // Long lines go out in pieces of the line buffer's size; an empty line still goes out.
    size_t offset = 0;
    do {
        size_t piece = std::min(LINE_PIECE, length - offset);
        std::memcpy(line_buffer_, text + offset, piece);
        line_buffer_[piece] = '\0';
        ++depth_;
        deliver(module, category, code, severity, prefix_buffer_, line_buffer_, false);
        --depth_;
        offset += piece;
    } while (offset < length);
}

void Mod_log_impl::build_prefix(int32_t module, int32_t category, int32_t code, int32_t severity)
{
    size_t used = 0;
    prefix_buffer_[0] = '\0';
    const size_t size = PREFIX_BUFFER_SIZE;
    if (prefix_bits_ & PREFIX_TIME) {
        char now[64];
        std::time_t seconds = std::time(nullptr);
        std::tm parts;
        localtime_r(&seconds, &parts);
        std::strftime(now, sizeof now, "%Y-%m-%d %H:%M:%S", &parts);
        append(prefix_buffer_, size, used, "%s ", now);
    }
    if (prefix_bits_ & PREFIX_NET) {
        // Threads on this side never run for a remote host.
        char thread_host[16];
        std::snprintf(thread_host, sizeof thread_host, "%-3s", "SYS");
        append(prefix_buffer_, size, used, "%3d.%s ", static_cast<int>(host_number_), thread_host);
    }
    if (prefix_bits_ & PREFIX_CODE)
        append(prefix_buffer_, size, used, "%08d ", reference_code(module, category, code, severity));
    if (prefix_bits_ & PREFIX_TRANSACTION)
        append(prefix_buffer_, size, used, "-:- ");
    if (prefix_bits_ & PREFIX_MODULE) {
        const char* tag = SYSTEM::module_tag(module);
        append(prefix_buffer_, size, used, "%-4s ", tag ? tag : "----");
    }
    if (prefix_bits_ & PREFIX_CATEGORY)
        append(prefix_buffer_, size, used, "%-4.4s ", category_name(category));
    if (prefix_bits_ & PREFIX_SEVERITY)
        append(prefix_buffer_, size, used, "%-5.5s", severity_name(severity));
    if (prefix_bits_)
        append(prefix_buffer_, size, used, ":");
}

bool Mod_log_impl::default_delivery(int32_t module, int32_t category, int32_t code, int32_t severity,
                                    const char* prefix, const char* line, bool handled)
{
    bool result = stderr_target_.message(module, category, code, severity, prefix, line, handled);
    debugger_target_.message(module, category, code, severity, prefix, line, result);
    return result;
}

void Mod_log_impl::deliver(int32_t module, int32_t category, int32_t code, int32_t severity, const char* prefix,
                           const char* line, bool handled)
{
    if (!configured_)
        configure();
    if (severity == SEV_FATAL) {
        if (!override_target_ || !override_target_->message(module, category, code, severity, prefix, line, handled))
            default_delivery(module, category, code, severity, prefix, line, handled);
        return;
    }
    if (extra_targets_.empty())
        handled = default_delivery(module, category, code, severity, prefix, line, handled) || handled;
    for (size_t i = extra_targets_.size(); i-- > 0;) {
        if (extra_targets_[i]->message(module, category, code, severity, prefix, line, handled))
            handled = true;
    }
    if (severity >= SEV_WARN && !handled) {
        if (!override_target_ || !override_target_->message(module, category, code, severity, prefix, line, handled))
            default_delivery(module, category, code, severity, prefix, line, handled);
    }
}

void start()
{
    if (!mod_log) {
        mod_log = new Mod_log_impl;
        mod_log->state = SYSTEM::MODULE_RUNNING;
    }
}

void stop()
{
    delete mod_log;
    mod_log = nullptr;
}

}  // namespace LOG
}  // namespace QZ

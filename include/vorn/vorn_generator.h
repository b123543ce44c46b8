/* Vorn: the shape of a code generator that a plug-in library adds.
 *
 * A plug-in library exports
 *
 *     extern "C" vorn::Plugin_base* initializer(uint32_t index, void* context);
 *
 * which the library calls with index 0, 1, 2, ... until it returns null. A plug-in whose
 * get_type() returns "Code_generator12_plugin" (VORN_GENERATOR_PLUGIN_TYPE) must derive from
 * vorn::IGenerator_plugin (one that does not is refused with a log line); it then serves the target that get_target_name() names, unless a
 * built-in target ("Cg", "Swrc", "FX", "GL") or an earlier plug-in has the name. Plug-ins are
 * looked for once, at the first generate call of the process: load the library before it.
 *
 * The library keeps the plug-in object until it stops, then calls release() once. Every other
 * object the library gets from a plug-in (generators, results) it ends with release().
 */
#ifndef VORN_VORN_GENERATOR_H
#define VORN_VORN_GENERATOR_H

#include <stdint.h>

#include "vorn/vorn.h"

#define VORN_GENERATOR_PLUGIN_TYPE "Code_generator12_plugin"

namespace vorn {

/* The base of every plug-in, whatever its kind; the library reads these slots before it knows
 * the kind. */
class Plugin_base {
public:
    virtual int32_t init() { return 1; }
    virtual const char* get_name() = 0;
    virtual const char* get_type() = 0;
    virtual int32_t get_version() { return 1; }
    virtual const char* get_compiler() { return "unknown"; }
    /* Ends the object; the library calls it when it lets the plug-in go. */
    virtual void release() { delete this; }
    virtual ~Plugin_base() = default;
};

/* What one generate call yields. Programs are numbered from 0. For a hardware target program 0
 * is the vertex program and program 1 the fragment program; a software target may have any
 * number of programs. */
class IGenerator_result {
public:
    virtual void release() = 0;
    /* The target's name, owned by the result. */
    virtual const char* get_target() = 0;
    virtual uint32_t get_count() = 0;
    /* Entry name (hardware) or program name (software), owned by the result; null past the end. */
    virtual const char* get_entry(uint32_t index) = 0;
    /* Length of the program's text without a terminating zero; 0 past the end. */
    virtual uint32_t get_size(uint32_t index) = 0;
    /* Copies at most buffer_size bytes of the text into buffer, a terminating zero included. */
    virtual void get_text(uint32_t index, char* buffer, uint32_t buffer_size) = 0;

protected:
    ~IGenerator_result() = default;
};

/* One generator object serves one generate call. */
class IGenerator {
public:
    virtual void release() = 0;
    /* The text for the unit, or null. The log, unit and options are lent for the call only. */
    virtual IGenerator_result* generate(ILog* log, ICompilation_unit* unit, ICompiler_options* options) = 0;

protected:
    ~IGenerator() = default;
};

class IGenerator_plugin : public Plugin_base {
public:
    const char* get_type() override { return VORN_GENERATOR_PLUGIN_TYPE; }
    /* The target name that hosts pass to ICompilation_unit::generate; compared byte for byte. */
    virtual const char* get_target_name() = 0;
    /* 0: hardware (vertex and fragment programs); 1: software (named sources). */
    virtual int32_t get_code_type() = 0;
    /* A new generator for the unit and options, or null. */
    virtual IGenerator* create_generator(ICompilation_unit* unit, ICompiler_options* options) = 0;
};

} /* namespace vorn */

#endif

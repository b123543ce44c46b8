/* Vorn: shader compiler and shader-graph engine. The one public header of libvorn.so.
 *
 * A host calls initialize_vorn() once per process, gets the root interface IVorn at count 1 and
 * reaches every other interface through it. Every object handed to the host starts at count 1
 * and is owned by the caller, who ends it with release(). Release every other interface before
 * the root: releasing the root stops the library for the rest of the process.
 */
#ifndef VORN_VORN_H
#define VORN_VORN_H

#include <stdint.h>

namespace vorn {

/* Interface ids for get_interface. */
enum Interface_id : int32_t {
    IID_VORN = 0,
    IID_VORN_COMPILER = 2,
    IID_VORN_GRAPH = 3,
    IID_GRAPH_LIBRARY = 6,
    IID_GRAPH_NODE = 7,
    IID_GRAPH_NODE_CLASS = 8,
    IID_COMPAGE_NODE_CLASS = 9,
    IID_VELAR_NODE_CLASS = 10,
    IID_TYPE = 11,
    IID_PARAMETER_ITERATOR = 12,
    IID_ATTACHMENT_ITERATOR = 13,
    IID_GENERATED_SHADER = 14,
    IID_COMPILATION_UNIT = 15,
    IID_COMPILER_OPTIONS = 16,
    IID_COMPILER_ERRORS = 17,
    IID_GRAPH_ANNOTATIONS = 20,
    IID_GRAPH_LIBRARY_MANAGER = 21,
    IID_SYNTAX_TREE = 22,
    IID_LOG = 23,
};

/* The base of every host-visible object. Reference counts are not atomic. */
class Interface {
public:
    virtual void retain() = 0;
    virtual void release() = 0;
    /* The interface with that id, or null; a non-null result carries a new reference. */
    virtual Interface* get_interface(int32_t id) = 0;
    /* The object behind the interface, for the library's own code. */
    virtual void* get_internal() = 0;

protected:
    ~Interface() = default;
};

/* The root interface. get_interface(2) gives IVorn_compiler, get_interface(3) IVorn_graph. */
class IVorn : public Interface {
public:
    virtual int32_t get_api_version() = 0;
    /* Each replaces the host's list of the named search path set ("shader", "texture", "icon"). */
    virtual void set_shader_path(const char* path) = 0;
    virtual void set_texture_path(const char* path) = 0;
    virtual void set_icon_path(const char* path) = 0;

protected:
    ~IVorn() = default;
};

}  // namespace vorn

extern "C" {
/* Starts the library and returns the root interface at count 1; null on any later call. */
vorn::IVorn* initialize_vorn(void);
typedef vorn::IVorn* (*Initialize_vorn_function)(void);
}

#endif

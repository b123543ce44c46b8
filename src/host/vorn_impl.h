// The root object a host receives, and the library's one start.
#pragma once

#include <cstdint>

#include "system/mod_mem.h"
#include "vorn/vorn.h"

namespace QZ {
namespace HOST {

class IVorn_impl : public vorn::IVorn, public SYSTEM::Mem_object {
public:
    using Destroy_function = void (*)();
    using Factory_function = vorn::Interface* (*)();

    IVorn_impl() = default;

    void retain() override;
    void release() override;
    vorn::Interface* get_interface(int32_t id) override;
    void* get_internal() override;
    int32_t get_api_version() override;
    void set_shader_path(const char* path) override;
    void set_texture_path(const char* path) override;
    void set_icon_path(const char* path) override;

    // The setters keep the root free of references to the compiler's classes.
    void set_on_destroy(Destroy_function function) { on_destroy_ = function; }
    void set_factory_1(Factory_function function) { factory_1_ = function; }
    void set_factory_2(Factory_function function) { factory_2_ = function; }
    void set_factory_3(Factory_function function) { factory_3_ = function; }

    int32_t reference_count() const { return count_; }

    virtual ~IVorn_impl();

private:
    int32_t count_ = 1;
    Destroy_function on_destroy_ = nullptr;
    Factory_function factory_1_ = nullptr;
    Factory_function factory_2_ = nullptr;
    Factory_function factory_3_ = nullptr;
};

// The one life of the library: null on every call after the first.
vorn::IVorn* initialize();

// Factories that the interface issues fill; null until their interfaces exist.
vorn::Interface* make_compiler_interface();
vorn::Interface* make_graph_interface();

}  // namespace HOST
}  // namespace QZ

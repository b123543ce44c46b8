#include "host/vorn_impl.h"

#include "system/mod_string.h"
#include "system/sequence.h"

namespace QZ {
namespace HOST {

namespace {

// Set once and never cleared: a process has one life of the library.
bool started = false;

}  // namespace

void IVorn_impl::retain() { ++count_; }

void IVorn_impl::release()
{
    if (--count_ == 0)
        delete this;
}

vorn::Interface* IVorn_impl::get_interface(int32_t id)
{
    switch (id) {
    case vorn::IID_VORN:
        retain();
        return this;
    case 1:
        return factory_1_ ? factory_1_() : nullptr;
    case vorn::IID_VORN_COMPILER:
        return factory_2_ ? factory_2_() : nullptr;
    case vorn::IID_VORN_GRAPH:
        return factory_3_ ? factory_3_() : nullptr;
    default:
        return nullptr;
    }
}

void* IVorn_impl::get_internal() { return this; }

int32_t IVorn_impl::get_api_version() { return 1; }

void IVorn_impl::set_shader_path(const char* path) { SYSTEM::mod_string->set_path(2, "shader", path); }

void IVorn_impl::set_texture_path(const char* path) { SYSTEM::mod_string->set_path(2, "texture", path); }

void IVorn_impl::set_icon_path(const char* path) { SYSTEM::mod_string->set_path(2, "icon", path); }

IVorn_impl::~IVorn_impl()
{
    if (on_destroy_)
        on_destroy_();
}

vorn::IVorn* initialize()
{
    if (started)
        return nullptr;
    SYSTEM::start_sequence();
    started = true;
    auto* root = new IVorn_impl;
    root->set_on_destroy(&SYSTEM::stop_sequence);
    root->set_factory_2(&make_compiler_interface);
    root->set_factory_3(&make_graph_interface);
    return root;
}

}  // namespace HOST
}  // namespace QZ

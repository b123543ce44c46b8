#include "front12/mod_front12.h"
#include "host/compiler_facade.h"
#include "host/graph_facade.h"
#include "host/vorn_impl.h"

namespace QZ {
namespace HOST {

vorn::Interface* make_compiler_interface()
{
    if (!FRONT12::mod_front12 || !FRONT12::mod_front12->has_parser())
        return nullptr;
    return new Vorn_compiler_impl;
}

vorn::Interface* make_graph_interface() { return new Vorn_graph_impl; }

}  // namespace HOST
}  // namespace QZ

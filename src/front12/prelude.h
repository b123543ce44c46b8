// The built-in prelude text, compiled into the library under the name "stdlib.ovl".
#pragma once

namespace QZ {
namespace FRONT12 {

extern const char* const prelude_file_name;
extern const char* const prelude_text;

}  // namespace FRONT12
}  // namespace QZ

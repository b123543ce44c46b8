#include "front12/prelude.h"

namespace QZ {
namespace FRONT12 {

const char* const prelude_file_name = "stdlib.ovl";

const char* const prelude_text = R"ovl(// stdlib.ovl: defined in front of every Ovrel file.
//
// Operators, constructors and the library functions are declared by the compiler itself and
// follow this text.

#define PI 3.14159265358979323846f
#define HALF_PI 1.57079632679489661923f
#define TWO_PI 6.28318530717958647692f

// Shader events; not supported yet.
#define MODULE_INIT 1
#define MODULE_EXIT 2
#define CLASS_INIT 3
#define CLASS_EXIT 4
#define INSTANCE_INIT 5
#define INSTANCE_EXIT 6
#define FRAME_INIT 7
#define FRAME_EXIT 8
#define PRIMITIVE_INIT 9
#define PRIMITIVE_EXIT 10

Vector4 illumination(Scalar dot_nl,Scalar dot_nh,Scalar exponent);
)ovl";

}  // namespace FRONT12
}  // namespace QZ

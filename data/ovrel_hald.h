// ovrel_hald.h: the renderer side of the bridge that generated software shaders carry under
// HALD. ovrel.h includes it when HALD is defined. It declares the renderer's shader API (the
// qz names that the bridge calls) and the adapters Hd_state and Hd_gather_output, so that a
// generated file compiles with -DHALD; the renderer's library defines the functions.
#ifndef OVREL_HALD_H
#define OVREL_HALD_H

#include <cstddef>

extern "C" {

typedef int qzBoolean;
typedef int qzSint4;
typedef float qzScalar;
typedef unsigned int qzTag;
typedef struct { float r, g, b, a; } qzColor;
typedef struct { float x, y, z; } qzVector;
typedef struct { float m[16]; } qzMatrix;

#define qzTRUE 1
#define qzFALSE 0

enum qzRay_type { qzRAY_EYE, qzRAY_TRANSPARENT, qzRAY_REFLECT, qzRAY_REFRACT, qzRAY_SHADOW, qzRAY_LIGHT };
enum qzQuery { qzQ_FUNC_IS_ROOT };
enum qzShaderstate_lifetime { qzSS_LIFETIME_RECT };

#define QZ_GATHER_KEY "gather"
#define QZ_SHADOW_KEY "shadow"

typedef struct qzCamera {
    qzTag buffertag;
} qzCamera;

typedef struct qzState {
    enum qzRay_type type;
    qzCamera* camera;
} qzState;

qzBoolean qz_query(enum qzQuery query, qzState* state, qzTag tag, void* result);
void* qz_eval(qzState* state, const void* parameter);
qzBoolean* qz_eval_boolean(const qzBoolean* parameter);
qzSint4* qz_eval_integer(const qzSint4* parameter);
qzScalar* qz_eval_scalar(const qzScalar* parameter);
qzColor* qz_eval_color(const qzColor* parameter);
qzVector* qz_eval_vector(const qzVector* parameter);
qzTag* qz_eval_tag(const qzTag* parameter);
qzMatrix* qz_eval_transform(const qzMatrix* parameter);
void* qz_db_access(qzTag tag);
void qz_db_unpin(qzTag tag);
void* qz_shaderstate_get(qzState* state, const char* key, int* size);
void qz_shaderstate_set(qzState* state, const char* key, const void* value, size_t size,
                        enum qzShaderstate_lifetime lifetime);
qzBoolean qz_fb_put(qzState* state, size_t index, const void* value);

}  // extern "C"

// The evaluators of the bridge take the address of a field of the argument struct, whose type
// is the renderer's; on this side the fields may hold the shader's own types.
#define qz_eval_boolean(p) qz_eval_boolean((const qzBoolean*)(const void*)(p))
#define qz_eval_integer(p) qz_eval_integer((const qzSint4*)(const void*)(p))
#define qz_eval_scalar(p) qz_eval_scalar((const qzScalar*)(const void*)(p))
#define qz_eval_color(p) qz_eval_color((const qzColor*)(const void*)(p))
#define qz_eval_vector(p) qz_eval_vector((const qzVector*)(const void*)(p))
#define qz_eval_tag(p) qz_eval_tag((const qzTag*)(const void*)(p))
#define qz_eval_transform(p) qz_eval_transform((const qzMatrix*)(const void*)(p))

namespace qz {
namespace shader {

// The frame buffers of a camera, by name.
class Frame_buffers {
public:
    bool get_index(const char* name, size_t& index) const;
};

class Access_fb {
public:
    explicit Access_fb(qzTag buffers);
    ~Access_fb();
    const Frame_buffers* operator->() const;

private:
    Access_fb(const Access_fb&);
    Access_fb& operator=(const Access_fb&);
    qzTag tag_;
};

}  // namespace shader
}  // namespace qz

namespace QZ {
namespace SHADER {

// What a gathering ray collects from the outputs of the shader it hits.
class Hd_gather_output;

// The software renderer's State over the renderer's: the values come from the renderer.
class Hd_state : public State {
public:
    explicit Hd_state(qzState* state);
    void gather(Hd_gather_output* output, Data_block* result);

private:
    qzState* state_;
};

}  // namespace SHADER
}  // namespace QZ

#endif

// The renderer side of tests/data/swrc/struct_params.ovl: built with -DHALD and
// -DSHADER_SOURCE='"generated.cpp"', it stands in for the renderer's library. It fills the
// argument block as the renderer lays it out (members of struct parameters each with their own
// value, arrays as start, count and first element), calls the exported entry point, and prints
// what the shader was given and what it computed; then the struct metadata of the two structs.
#include <cstdio>
#include <cstring>
#include <map>

#include SHADER_SOURCE

namespace {

// Where the elements of an array really are: the renderer's evaluator answers for the first
// element's address with the place of the array.
std::map<const void*, void*> array_places;

const char* const tag_texts[] = {"", "key", "fill"};

}  // namespace

extern "C" {
qzBoolean qz_query(enum qzQuery, qzState*, qzTag, void* result)
{
    *static_cast<qzBoolean*>(result) = qzTRUE;
    return qzTRUE;
}
void* qz_eval(qzState*, const void* parameter)
{
    auto found = array_places.find(parameter);
    return found != array_places.end() ? found->second : const_cast<void*>(parameter);
}
#undef qz_eval_boolean
#undef qz_eval_integer
#undef qz_eval_scalar
#undef qz_eval_color
#undef qz_eval_vector
#undef qz_eval_tag
#undef qz_eval_transform
qzBoolean* qz_eval_boolean(const qzBoolean* p) { return const_cast<qzBoolean*>(p); }
qzSint4* qz_eval_integer(const qzSint4* p) { return const_cast<qzSint4*>(p); }
qzScalar* qz_eval_scalar(const qzScalar* p) { return const_cast<qzScalar*>(p); }
qzColor* qz_eval_color(const qzColor* p) { return const_cast<qzColor*>(p); }
qzVector* qz_eval_vector(const qzVector* p) { return const_cast<qzVector*>(p); }
qzTag* qz_eval_tag(const qzTag* p) { return const_cast<qzTag*>(p); }
qzMatrix* qz_eval_transform(const qzMatrix* p) { return const_cast<qzMatrix*>(p); }
void* qz_db_access(qzTag tag) { return const_cast<char*>(tag < 3 ? tag_texts[tag] : ""); }
void qz_db_unpin(qzTag) {}
void* qz_shaderstate_get(qzState*, const char*, int*) { return nullptr; }
void qz_shaderstate_set(qzState*, const char*, const void*, size_t, enum qzShaderstate_lifetime) {}
qzBoolean qz_fb_put(qzState*, size_t, const void*) { return qzTRUE; }
}

namespace qz {
namespace shader {
bool Frame_buffers::get_index(const char*, size_t&) const { return false; }
Access_fb::Access_fb(qzTag buffers) : tag_(buffers) {}
Access_fb::~Access_fb() {}
const Frame_buffers* Access_fb::operator->() const
{
    static Frame_buffers none;
    return &none;
}
}  // namespace shader
}  // namespace qz

namespace QZ {
namespace SHADER {
Hd_state::Hd_state(qzState* state) : state_(state) {}
void Hd_state::gather(Hd_gather_output*, Data_block*) {}
}  // namespace SHADER
}  // namespace QZ

namespace {

const char* code_name(QZ::SHADER::Type_code::Id code)
{
    using namespace QZ::SHADER::Type_code;
    switch (code) {
    case SCALAR: return "SCALAR";
    case INT: return "INT";
    case STRING: return "STRING";
    case STRUCT: return "STRUCT";
    case COLOR: return "COLOR";
    default: return "OTHER";
    }
}

template <class T>
void print_members()
{
    using Info = QZ::SHADER::Struct_info<T>;
    std::printf("%s", Info::name);
    for (int i = 0; i < Info::member_count; ++i)
        std::printf(" %s:%s:%d", Info::members[i].name, code_name(Info::members[i].type), Info::members[i].array_size);
    std::printf("\n");
}

}  // namespace

int main()
{
    using namespace QZ::SHADER;
    ovl_Struct_params_args args;
    std::memset(&args, 0, sizeof args);
    args.v_top.v_tint.v_color = qzColor{0.5f, 0.25f, 1.0f, 1.0f};
    args.v_top.v_tint.v_weight = 0.5f;
    // The scales stand at 1 and 2 of their array.
    float scales[] = {9.0f, 1.0f, 3.0f};
    array_places[&args.v_top.v_scales] = scales;
    args.v_top.i_scales = 1;
    args.v_top.n_scales = 2;
    args.v_top.v_mode = 2;
    args.v_top.v_label = 1;
    hd_ovl_Tint extra[2];
    extra[0].v_color = qzColor{1.0f, 0.0f, 0.0f, 0.0f};
    extra[0].v_weight = 0.25f;
    extra[1].v_color = qzColor{0.0f, 1.0f, 0.0f, 0.0f};
    extra[1].v_weight = 0.75f;
    array_places[&args.v_extra] = extra;
    args.i_extra = 0;
    args.n_extra = 2;
    args.v_gain = 2.0f;

    qzCamera camera{0};
    qzState state{qzRAY_EYE, &camera};
    ovl_Struct_params given(&state, &args);
    std::printf("top %g %g %g %g %g %d %g %g %d %s\n", given.ovl_top.ovl_tint.ovl_color.v[0], given.ovl_top.ovl_tint.ovl_color.v[1],
                given.ovl_top.ovl_tint.ovl_color.v[2], given.ovl_top.ovl_tint.ovl_color.v[3], given.ovl_top.ovl_tint.ovl_weight,
                given.ovl_top.ovl_scales.get_count(), given.ovl_top.ovl_scales[0], given.ovl_top.ovl_scales[1],
                given.ovl_top.ovl_mode, given.ovl_top.ovl_label.c_str());
    std::printf("extra %d %g %g %g\n", given.ovl_extra.get_count(), given.ovl_extra[0].ovl_weight,
                given.ovl_extra[1].ovl_color.v[1], given.ovl_extra[1].ovl_weight);

    ovl_Struct_params_result out;
    Struct_params(&out, &state, &args);
    std::printf("result %g %g %g %g\n", out.result.v[0], out.result.v[1], out.result.v[2], out.result.v[3]);
    print_members<ovl_Tint>();
    print_members<ovl_Layer>();
    return 0;
}

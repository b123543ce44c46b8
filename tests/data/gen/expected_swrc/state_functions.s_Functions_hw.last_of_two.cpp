namespace QZ {

namespace SHADER {

using namespace ARRAY;
using namespace MATH;
using namespace COLOR;
using namespace DB;
using namespace RDIFF;
using namespace STRING;

#ifdef HALD
struct ovl_Functions_hw_args {
};
#endif
#ifdef HALD
struct ovl_Functions_hw_result {
	Vector4 result;
};

class Hd_Functions_hw_data_block : public Data_block {

private:
	typedef std::map<std::string,void *> Map;
	Map m_map;
public:
	Hd_Functions_hw_data_block(ovl_Functions_hw_result *result)
	{
		m_map["result"] = &result->result;
	}
	void *get_field(const char *name)
	{
		Map::iterator it = m_map.find(name);
		return (it == m_map.end()) ? 0 : it->second;
	}
	const void *get_field(const char *name) const
	{
		Map::const_iterator it = m_map.find(name);
		return (it == m_map.end()) ? 0 : it->second;
	}
};
#endif
class ovl_Functions_hw : public Shader
{
public:
	class Result {
	public:
		Vector4 &ovl_result;
		Vector4 ovl_none;
		Result(Data_block *outputs)
			: ovl_result(*(Vector4 *)outputs->get_field("result"))
		{}
	};
	ovl_Functions_hw(Data_block *inputs)
	{}
#ifdef HALD
#define qz_eval_void(param) qz_eval(state,param)
	ovl_Functions_hw(qzState *state,const ovl_Functions_hw_args *args)
	{
	}
#endif
	void main(State * state,Data_block *outputs)
	{
		Result res(outputs);
		Result *result = &res;
		Factory_access factory(state->get_factory());
		(void)result;
		float ovl_u = state->get_vector4(static_cast<State_sym::Id>(State_sym::TEXTURE+0))[1];
		Ray ovl_ray = Ray(state->get_vector3(State_sym::POINT), state->get_vector3(State_sym::NORMAL));
		Vector4 ovl_shadow = state->shadowing();
		Vector3 ovl_p = state->transform_point(state->get_coordsystem(String("object")),state->get_coordsystem(String("world")),state->get_vector3(State_sym::POINT));
		Vector4 ovl_reflected = Vector4(state->reflect_environment());
		Vector4 ovl_refracted = Vector4(state->refract_environment());
		Vector4 ovl_traced = trace_environment(state,ovl_ray,(Gather_output_def_struct)Gather_output_def());
		Vector4 ovl_light = state->irradiance(ovl_ray);
		result->ovl_result = ovl_shadow + ovl_reflected + ovl_refracted + ovl_traced + ovl_light + Vector4(ovl_p, ovl_u);
	}
};
class Functions_hw_shader_plugin: public  Software_shader_plugin
{
public:
    const char *get_type() const
    {
        return "softshader";
    }
    int get_version() const
    {
        return 1;
    }
    const char *get_name() const
    {
        return "softshader_Functions_hw";
    }
    const char *get_compiler() const
    {
        return "ovrel";
    }
    Shader *new_instance(Data_block *arg) const
    {
        return new ovl_Functions_hw(arg);
    }
    void release()
    {
        delete this;
    }
protected:
    ~Functions_hw_shader_plugin()
    {
    }
};

}

}

extern "C"
{
DLLEXPORT QZ::PLUG::Plugin *initializer(unsigned int index,void *context)
{
    switch(index) {
    case 0:
        return new QZ::SHADER::Functions_shader_plugin;
    case 1:
        return new QZ::SHADER::Functions_hw_shader_plugin;
    default:
        return 0;
    }
}
} // extern "C"
#ifdef HALD
extern "C" {
DLLEXPORT int Functions_hw_version(void)
{
	return 1;
}
DLLEXPORT qzBoolean Functions_hw(
	QZ::SHADER::ovl_Functions_hw_result *shader_result,
	qzState *state,
	QZ::SHADER::ovl_Functions_hw_args *args)
{
	qzBoolean is_root;
	qz_query(qzQ_FUNC_IS_ROOT,state,0,&is_root);
	QZ::SHADER::ovl_Functions_hw_result shader_result_copy;
	QZ::SHADER::Hd_Functions_hw_data_block result(&shader_result_copy);
	QZ::SHADER::Hd_state nr_state(state);
	QZ::SHADER::ovl_Functions_hw shader(state,args);
	shader.main(&nr_state,&result);
	if(is_root) {
		QZ::SHADER::Hd_gather_output **go = (QZ::SHADER::Hd_gather_output **)
			qz_shaderstate_get(state, QZ_GATHER_KEY, 0);
		if(go && *go && state->type != qzRAY_LIGHT) {
			nr_state.gather(*go,&result);
		}
		if(state->type == qzRAY_EYE) {
			qz::shader::Access_fb afb(state->camera->buffertag);
			size_t fb_index;
			(void)fb_index;
		}
		*(qzColor *)shader_result = (qzColor &)shader_result_copy;
	} else {
		*shader_result = shader_result_copy;
	}
	return qzTRUE;
}
}
#endif

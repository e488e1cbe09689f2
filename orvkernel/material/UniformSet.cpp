#include <orvkernel/material/UniformSet.h>

#include <orvcommon/Logger.h>

namespace orvcore {

const char* UniformTypeName(const UniformValue& value)
{
    // Indexed like the alternatives of UniformValue.
    static const char* const names[] = {"int", "float", "vec2", "vec3", "vec4", "mat3", "mat4", "sampler"};
    static_assert(sizeof(names) / sizeof(names[0]) == std::variant_size_v<UniformValue>,
                  "every uniform type needs a name");
    const std::size_t index = value.index();
    return index < std::variant_size_v<UniformValue> ? names[index] : "invalid";
}

const UniformValue* UniformSet::Find(const std::string& name) const
{
    const auto it = m_Values.find(name);
    return it == m_Values.end() ? nullptr : &it->second;
}

bool UniformSet::SetValue(const std::string& name, const UniformValue& value)
{
    if (name.empty()) {
        Logger::Instance().Waring("Uniform name is empty!");
        return false;
    }
    const auto it = m_Values.find(name);
    if (it == m_Values.end()) {
        m_Values.emplace(name, value);
        return true;
    }
    if (it->second.index() != value.index()) {
        Logger::Instance().Waring("Not compitable uniform value type: " + name + "!");
        return false;
    }
    if (it->second == value)
        return false;
    it->second = value;
    return true;
}

} // namespace orvcore

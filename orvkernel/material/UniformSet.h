#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include <glm/mat3x3.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

namespace orvcore {

/// A texture-unit number, distinct from a plain int uniform.
struct TextureUnit {
    int unit = 0;
    bool operator==(const TextureUnit& o) const { return unit == o.unit; }
    bool operator!=(const TextureUnit& o) const { return unit != o.unit; }
};

/// The value of one uniform: one of the types shaders take.
using UniformValue = std::variant<int, float, glm::vec2, glm::vec3, glm::vec4, glm::mat3, glm::mat4, TextureUnit>;

/// Name of a uniform value's type ("float", "vec3", ...).
const char* UniformTypeName(const UniformValue& value);

/// Named, typed uniform values of a material, applied to its shader program
/// when the material is activated.
class UniformSet {
public:
    /// The value under a name, or null.
    const UniformValue* Find(const std::string& name) const;

    /// Sets a uniform: a new name is created with the value; an existing one
    /// of the same type is overwritten when the value differs; an existing
    /// one of another type is left alone with the warning
    /// "Not compitable uniform value type: <name>!"; an empty name logs
    /// "Uniform name is empty!". Returns whether the set changed.
    bool SetValue(const std::string& name, const UniformValue& value);
    bool Remove(const std::string& name) { return m_Values.erase(name) != 0; }

    std::size_t GetCount() const { return m_Values.size(); }
    const std::map<std::string, UniformValue>& GetValues() const { return m_Values; }

private:
    std::map<std::string, UniformValue> m_Values;
};

} // namespace orvcore

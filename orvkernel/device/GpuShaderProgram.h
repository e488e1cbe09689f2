#pragma once

#include <string>

#include <orvkernel/material/UniformSet.h>

namespace orvcore {

/// A linked shader program on the device. Uniforms that the program does not
/// declare are ignored.
class GpuShaderProgram {
public:
    virtual ~GpuShaderProgram();
    virtual void SetUniform(const std::string& name, const UniformValue& value) = 0;
    /// Whether the program declares a uniform of that name.
    virtual bool HasUniform(const std::string& name) const = 0;
};

} // namespace orvcore

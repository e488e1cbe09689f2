#include <orvkernel/GpuShaderProgram.h>

namespace orvcore {

GpuShaderProgram::~GpuShaderProgram() = default;

} // namespace orvcore

#include <orvkernel/device/GpuShaderProgram.h>

namespace orvcore {

GpuShaderProgram::~GpuShaderProgram() = default;

} // namespace orvcore

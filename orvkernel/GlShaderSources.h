#pragma once

#include <string>

namespace orvcore {

/// One GLSL file of orvkernel/shaders, compiled into the library.
struct GlShaderSource {
    const char* name; ///< file name, e.g. "basic.vert"
    const char* text;
};

/// The text of a shader file by its file name, or null when there is none.
const char* FindGlShaderSource(const std::string& name);

} // namespace orvcore

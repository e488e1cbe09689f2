#pragma once

#include <string>

namespace orvcore {

/// One GLSL file of orvkernel/gl/shaders, compiled into the library.
struct GlShaderSource {
    const char* name; ///< file name, e.g. "basic.vert"
    const char* text;
};

/// The shader files a material template is drawn with, and whether its line
/// primitives go through the wide-line geometry shader.
struct GlTemplateShaders {
    const char* name;
    const char* vertex;
    const char* fragment;
    bool wideLines;
};

/// The text of a shader file by its file name, or null when there is none.
const char* FindGlShaderSource(const std::string& name);

/// The shader files of a template by its name, or null for an unknown one.
const GlTemplateShaders* FindGlTemplateShaders(const std::string& name);

/// The text of a shader file with its `#include "file"` lines replaced by
/// those files (nested up to a few levels); empty, with an error logged, when
/// a file is missing or an include is malformed.
std::string ExpandGlShader(const std::string& name);

/// As `ExpandGlShader`, for a text that is not a library file (a raw
/// shader); `name` names it in messages.
std::string ExpandGlShaderText(const std::string& name, const char* text);

} // namespace orvcore

#include <orvkernel/gl/GlShaderSources.h>

#include <orvcommon/Logger.h>

#include <sstream>

namespace orvcore {

namespace {

const GlTemplateShaders kTemplateShaders[] = {
    {"basic", "basic.vert", "basic.frag", true},
    {"phong", "basic.vert", "phong.frag", true},
    {"points", "points.vert", "points.frag", false},
    {"dashed", "basic.vert", "dashed.frag", true},
    {"font", "font.vert", "font.frag", false},
    {"background", "screen.vert", "background.frag", false},
    {"cube", "cube.vert", "cube.frag", false},
    {"depth", "basic.vert", "depth.frag", true},
    {"ext/dark_depth", "basic.vert", "dark_depth.frag", true},
    {"ext/HorizontalBlur", "screen.vert", "horizontal_blur.frag", false},
    {"ext/VerticalBlur", "screen.vert", "vertical_blur.frag", false},
};

std::string Expand(const std::string& name, int depth);

std::string ExpandText(const std::string& name, const char* text, int depth)
{
    std::istringstream lines(text);
    std::string line;
    std::string result;
    while (std::getline(lines, line)) {
        const std::size_t start = line.find_first_not_of(" \t");
        if (start != std::string::npos && line.compare(start, 8, "#include") == 0) {
            const std::size_t open = line.find('"', start);
            const std::size_t close = open == std::string::npos ? open : line.find('"', open + 1);
            if (close == std::string::npos) {
                Logger::Instance().Error("Shader include is malformed in " + name);
                return std::string();
            }
            const std::string included = Expand(line.substr(open + 1, close - open - 1), depth + 1);
            if (included.empty())
                return std::string();
            result += included;
        } else {
            result += line;
        }
        result += '\n';
    }
    return result;
}

std::string Expand(const std::string& name, int depth)
{
    const char* text = FindGlShaderSource(name);
    if (!text || depth > 4) {
        Logger::Instance().Error("Shader source is missing: " + name);
        return std::string();
    }
    return ExpandText(name, text, depth);
}

} // namespace

const GlTemplateShaders* FindGlTemplateShaders(const std::string& name)
{
    for (const GlTemplateShaders& shaders : kTemplateShaders)
        if (name == shaders.name)
            return &shaders;
    return nullptr;
}

std::string ExpandGlShader(const std::string& name) { return Expand(name, 0); }

std::string ExpandGlShaderText(const std::string& name, const char* text) { return ExpandText(name, text, 0); }

} // namespace orvcore

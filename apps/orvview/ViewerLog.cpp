#include <orvview/ViewerLog.h>

#include <cstdio>

namespace orvview {

void ViewerLog::Line(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

std::string ViewerLog::Quote(const std::string& name)
{
    std::string out = "\"";
    for (unsigned char c : name) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20 || c == 0x7f) {
            char buffer[8];
            std::snprintf(buffer, sizeof buffer, "\\x%02x", unsigned(c));
            out += buffer;
        } else {
            out += char(c);
        }
    }
    return out + "\"";
}

std::string ViewerLog::Vec(const glm::vec3& v)
{
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "(%.4f,%.4f,%.4f)", double(v.x), double(v.y), double(v.z));
    return buffer;
}

std::string ViewerLog::Num(double value, int decimals)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    return buffer;
}

} // namespace orvview

#include <orvrender/SceneJson.h>

#include <cmath>
#include <sstream>

namespace orvrender::json {

void Fail(const std::string& path, const std::string& what)
{
    throw Fault{path.empty() ? std::string("/") : path, what};
}

std::string Child(const std::string& path, const std::string& key)
{
    // JSON pointer escaping: "~" becomes "~0", "/" becomes "~1".
    std::string escaped;
    for (char c : key) {
        if (c == '~')
            escaped += "~0";
        else if (c == '/')
            escaped += "~1";
        else
            escaped += c;
    }
    return path + "/" + escaped;
}

std::string Child(const std::string& path, std::size_t index) { return path + "/" + std::to_string(index); }

const char* TypeName(const Json& value)
{
    switch (value.type()) {
    case Json::value_t::null: return "null";
    case Json::value_t::object: return "an object";
    case Json::value_t::array: return "an array";
    case Json::value_t::string: return "a string";
    case Json::value_t::boolean: return "a boolean";
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
    case Json::value_t::number_float: return "a number";
    default: return "an unsupported value";
    }
}

void ExpectObject(const Json& value, const std::string& path)
{
    if (!value.is_object())
        Fail(path, std::string("expected an object, found ") + TypeName(value));
}

void ExpectArray(const Json& value, const std::string& path)
{
    if (!value.is_array())
        Fail(path, std::string("expected an array, found ") + TypeName(value));
}

/// Refuses keys outside `allowed` (typing mistakes would otherwise be lost).
void CheckKeys(const Json& object, const std::string& path, const std::set<std::string>& allowed)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (allowed.count(it.key()) == 0)
            Fail(Child(path, it.key()), "unknown property \"" + it.key() + "\"");
    }
}

const Json* Find(const Json& object, const char* key)
{
    auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

const Json& Require(const Json& object, const char* key, const std::string& path)
{
    const Json* value = Find(object, key);
    if (!value)
        Fail(Child(path, key), "required property is missing");
    return *value;
}

double Number(const Json& value, const std::string& path)
{
    if (!value.is_number())
        Fail(path, std::string("expected a number, found ") + TypeName(value));
    const double number = value.get<double>();
    if (!std::isfinite(number))
        Fail(path, "number is not finite");
    return number;
}

/// A number in [min, max]; above `max` the message says "too large".
double Bounded(const Json& value, const std::string& path, double min, double max, bool minExclusive)
{
    const double number = Number(value, path);
    if (minExclusive ? number <= min : number < min) {
        std::ostringstream text;
        text << "must be " << (minExclusive ? "greater than " : "at least ") << min;
        Fail(path, text.str());
    }
    if (number > max) {
        std::ostringstream text;
        text << "too large (at most " << max << ")";
        Fail(path, text.str());
    }
    return number;
}

/// A length: positive and finite, at most kMaxExtent.
float CheckLength(double number, const std::string& path)
{
    if (number < 0.0)
        Fail(path, "must not be negative");
    if (number == 0.0)
        Fail(path, "must be positive");
    if (number > kMaxExtent)
        Fail(path, "too large (at most 1e7)");
    return static_cast<float>(number);
}

float Length(const Json& value, const std::string& path) { return CheckLength(Number(value, path), path); }

bool Bool(const Json& value, const std::string& path)
{
    if (!value.is_boolean())
        Fail(path, std::string("expected true or false, found ") + TypeName(value));
    return value.get<bool>();
}

std::string String(const Json& value, const std::string& path)
{
    if (!value.is_string())
        Fail(path, std::string("expected a string, found ") + TypeName(value));
    return value.get<std::string>();
}

std::string Text(const Json& value, const std::string& path, bool nonEmpty)
{
    std::string text = String(value, path);
    if (nonEmpty && text.empty())
        Fail(path, "a text must not be empty");
    if (text.size() > kMaxText)
        Fail(path, "too large (at most " + std::to_string(kMaxText) + " bytes)");
    return text;
}

int64_t Integer(const Json& value, const std::string& path, int64_t min, int64_t max)
{
    const double number = Number(value, path);
    if (number != std::floor(number))
        Fail(path, "expected a whole number");
    if (number < static_cast<double>(min))
        Fail(path, "must be at least " + std::to_string(min));
    if (number > static_cast<double>(max))
        Fail(path, "too large (at most " + std::to_string(max) + ")");
    return static_cast<int64_t>(number);
}

glm::vec3 Vec3(const Json& value, const std::string& path)
{
    const auto n = Numbers<3>(value, path);
    return glm::vec3(n[0], n[1], n[2]);
}

glm::vec3 Color(const Json& value, const std::string& path)
{
    const glm::vec3 color = Vec3(value, path);
    for (int i = 0; i < 3; ++i) {
        if (color[i] < 0.0f || color[i] > 1.0f)
            Fail(Child(path, static_cast<std::size_t>(i)), "colour components lie in [0, 1]");
    }
    return color;
}

/// UTF-8 to wide characters (the JSON parser has already checked the bytes).
std::wstring Widen(const std::string& text)
{
    std::wstring result;
    std::size_t i = 0;
    while (i < text.size()) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        uint32_t code = c;
        std::size_t extra = 0;
        if (c >= 0xF0) {
            code = c & 0x07u;
            extra = 3;
        } else if (c >= 0xE0) {
            code = c & 0x0Fu;
            extra = 2;
        } else if (c >= 0xC0) {
            code = c & 0x1Fu;
            extra = 1;
        }
        ++i;
        for (std::size_t k = 0; k < extra && i < text.size(); ++k, ++i)
            code = (code << 6) | (static_cast<unsigned char>(text[i]) & 0x3Fu);
        result.push_back(static_cast<wchar_t>(code));
    }
    return result;
}

std::string ViewName(uint32_t view)
{
    static const char* const names[orvcore::STANDARD_VIEW_COUNT] = {
        "none",
        "front",
        "top",
        "right",
        "isometric",
        "front-top-left",
        "front-bottom-right",
        "front-bottom-left",
        "back-top-right",
        "back-top-left",
        "back-bottom-right",
        "back-bottom-left",
        "front-top",
        "front-bottom",
        "front-left",
        "front-right",
        "back-top",
        "back-bottom",
        "back-left",
        "back-right",
        "top-left",
        "top-right",
        "bottom-left",
        "bottom-right",
        "back",
        "bottom",
        "left",
    };
    return names[view];
}

bool ParseView(const std::string& name, orvcore::EnumStandardView& view)
{
    if (name == "front-top-right") {
        view = orvcore::STANDARD_VIEW_ISOMETRIC;
        return true;
    }
    for (uint32_t v = 1; v < orvcore::STANDARD_VIEW_COUNT; ++v) {
        if (ViewName(v) == name) {
            view = static_cast<orvcore::EnumStandardView>(v);
            return true;
        }
    }
    return false;
}

std::size_t LineAndColumn(const std::string& text, std::size_t offset, std::size_t& column)
{
    std::size_t line = 1;
    column = 1;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return line;
}

} // namespace orvrender::json

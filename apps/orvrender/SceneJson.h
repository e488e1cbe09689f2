#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include <glm/vec3.hpp>
#include <nlohmann/json.hpp>

#include <orvkernel/camera/EnumStandardView.h>

/// Reading scene files: typed access to JSON values that reports every fault
/// with the JSON path (like /nodes/2/size) where it lies.
namespace orvrender::json {

using Json = nlohmann::json;

// Limits that keep a hostile or mistaken file from exhausting memory or time.
constexpr double kMaxExtent = 1.0e7;        // sizes, radii, coordinates
constexpr std::size_t kMaxPoints = 1000000; // points of one points/lines node
constexpr std::size_t kMaxNodes = 100000;   // nodes of one file
constexpr std::size_t kMaxDepth = 64;       // group nesting
constexpr std::size_t kMaxText = 4096;      // characters of one text
constexpr int64_t kMinSegments = 3;
constexpr int64_t kMaxSegments = 1024;

/// A fault found in the file: the JSON path and what is wrong there.
struct Fault {
    std::string path;
    std::string what;
};

/// Throws the `Fault` at `path` ("/" for the root).
[[noreturn]] void Fail(const std::string& path, const std::string& what);

/// The path of an object member (JSON pointer escaping) or of an array element.
std::string Child(const std::string& path, const std::string& key);
std::string Child(const std::string& path, std::size_t index);

/// "an object", "a number", ... for messages.
const char* TypeName(const Json& value);
void ExpectObject(const Json& value, const std::string& path);
void ExpectArray(const Json& value, const std::string& path);
/// Refuses keys outside `allowed` (typing mistakes would otherwise be lost).
void CheckKeys(const Json& object, const std::string& path, const std::set<std::string>& allowed);
/// A member, or null when absent.
const Json* Find(const Json& object, const char* key);
const Json& Require(const Json& object, const char* key, const std::string& path);

/// A finite number.
double Number(const Json& value, const std::string& path);
/// A number in [min, max]; above `max` the message says "too large".
double Bounded(const Json& value, const std::string& path, double min, double max, bool minExclusive);
/// A length: positive and finite, at most kMaxExtent.
float CheckLength(double number, const std::string& path);
float Length(const Json& value, const std::string& path);
bool Bool(const Json& value, const std::string& path);
std::string String(const Json& value, const std::string& path);
/// A string of at most kMaxText bytes; with `nonEmpty`, not "".
std::string Text(const Json& value, const std::string& path, bool nonEmpty);
int64_t Integer(const Json& value, const std::string& path, int64_t min, int64_t max);

/// A fixed-size array of numbers, each within +-kMaxExtent.
template <std::size_t N>
std::array<float, N> Numbers(const Json& value, const std::string& path)
{
    ExpectArray(value, path);
    if (value.size() != N)
        Fail(path, "expected " + std::to_string(N) + " numbers, found " + std::to_string(value.size()));
    std::array<float, N> result{};
    for (std::size_t i = 0; i < N; ++i) {
        const double number = Number(value[i], Child(path, i));
        if (std::fabs(number) > kMaxExtent)
            Fail(Child(path, i), "too large (at most 1e7 in magnitude)");
        result[i] = static_cast<float>(number);
    }
    return result;
}

glm::vec3 Vec3(const Json& value, const std::string& path);
/// Three components in [0, 1].
glm::vec3 Color(const Json& value, const std::string& path);

/// UTF-8 to wide characters (the JSON parser has already checked the bytes).
std::wstring Widen(const std::string& text);
/// The scene-file name of a standard view ("front", "front-top-left", ...).
std::string ViewName(uint32_t view);
/// A standard view by its scene-file name; false for an unknown name.
bool ParseView(const std::string& name, orvcore::EnumStandardView& view);
/// The 1-based line and column of a byte offset.
std::size_t LineAndColumn(const std::string& text, std::size_t offset, std::size_t& column);

} // namespace orvrender::json

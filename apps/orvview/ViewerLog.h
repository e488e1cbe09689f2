#pragma once

#include <string>

#include <glm/vec3.hpp>

namespace orvview {

/// The viewer's event lines on standard output, one event per line, flushed
/// at once, so that scripts and tests can follow the viewer (docs/viewer.md
/// lists the lines). Every line starts with the event's word; values are
/// `key=value` pairs; names are quoted with C escapes; vectors are written
/// as `(x,y,z)`.
class ViewerLog {
public:
    /// Writes `text` and a newline to stdout and flushes.
    static void Line(const std::string& text);
    /// `"name"` with backslashes, quotes and control characters escaped.
    static std::string Quote(const std::string& name);
    /// `(x,y,z)` with four decimals.
    static std::string Vec(const glm::vec3& v);
    /// A number with the given decimals.
    static std::string Num(double value, int decimals = 3);
};

} // namespace orvview

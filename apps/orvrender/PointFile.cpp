#include <orvrender/PointFile.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>

// Point files: whitespace and comma-separated text, and PLY (ASCII and binary).

namespace orvrender {

namespace {

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

std::string Extension(const std::string& path)
{
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return "";
    return Lower(path.substr(dot + 1));
}

/// The fields of a text line split at any of `separators` (runs of
/// whitespace count once; an explicit separator between two fields always
/// separates).
std::vector<std::string> Fields(const std::string& line, const char* separators)
{
    std::vector<std::string> fields;
    std::string field;
    bool any = false;
    for (char c : line) {
        if (std::strchr(separators, c) && !std::isspace(static_cast<unsigned char>(c))) {
            fields.push_back(field);
            field.clear();
            any = false;
        } else if (std::isspace(static_cast<unsigned char>(c))) {
            if (any && std::strchr(separators, ' ')) {
                fields.push_back(field);
                field.clear();
                any = false;
            }
        } else {
            field += c;
            any = true;
        }
    }
    if (any || !field.empty() || !fields.empty())
        fields.push_back(field);
    return fields;
}

bool ParseNumber(const std::string& text, double& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size() && std::isfinite(value);
}

bool Fits(double v) { return std::fabs(v) <= 3.0e38; }

bool TooMany(const PointCloud& cloud, std::size_t maxPoints, std::string& error)
{
    if (cloud.positions.size() < maxPoints)
        return false;
    error = "too many points (at most " + std::to_string(maxPoints) + ")";
    return true;
}

/// Column numbers of a text file's fields; -1 when absent.
struct Columns {
    int x = 0, y = 1, z = 2, r = -1, g = -1, b = -1;
};

bool ReadText(std::istream& in, bool csv, std::size_t maxPoints, PointCloud& cloud, std::string& error)
{
    Columns columns;
    std::string line;
    std::size_t number = 0;
    bool first = true;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const std::size_t hash = line.find('#');
        if (hash != std::string::npos)
            line.erase(hash);
        const std::vector<std::string> fields = Fields(line, csv ? ",; \t" : " \t");
        if (fields.empty())
            continue;
        double value = 0.0;
        if (first && csv && !ParseNumber(fields[0], value)) { // a header naming the columns
            columns = Columns{-1, -1, -1, -1, -1, -1};
            for (std::size_t i = 0; i < fields.size(); ++i) {
                const std::string name = Lower(fields[i]);
                int* slot = name == "x" ? &columns.x : name == "y" ? &columns.y : name == "z" ? &columns.z
                          : (name == "r" || name == "red") ? &columns.r
                          : (name == "g" || name == "green") ? &columns.g
                          : (name == "b" || name == "blue") ? &columns.b : nullptr;
                if (slot)
                    *slot = int(i);
            }
            if (columns.x < 0 || columns.y < 0 || columns.z < 0) {
                error = "line 1: the header names no x, y and z columns";
                return false;
            }
            if (columns.r < 0 || columns.g < 0 || columns.b < 0)
                columns.r = columns.g = columns.b = -1;
            first = false;
            continue;
        }
        first = false;
        const auto get = [&](int column, double& out) {
            return column >= 0 && std::size_t(column) < fields.size() && ParseNumber(fields[std::size_t(column)], out) &&
                   Fits(out);
        };
        double x, y, z;
        if (!get(columns.x, x) || !get(columns.y, y) || !get(columns.z, z)) {
            error = "line " + std::to_string(number) + ": expected three finite coordinates";
            return false;
        }
        if (TooMany(cloud, maxPoints, error))
            return false;
        cloud.positions.emplace_back(float(x), float(y), float(z));
        if (columns.r >= 0) {
            double r, g, b;
            if (!get(columns.r, r) || !get(columns.g, g) || !get(columns.b, b)) {
                error = "line " + std::to_string(number) + ": expected a colour";
                return false;
            }
            // Colours above 1 are bytes.
            const double scale = (r > 1.0 || g > 1.0 || b > 1.0) ? 1.0 / 255.0 : 1.0;
            cloud.colors.emplace_back(float(std::clamp(r * scale, 0.0, 1.0)), float(std::clamp(g * scale, 0.0, 1.0)),
                                      float(std::clamp(b * scale, 0.0, 1.0)));
        }
    }
    if (in.bad()) {
        error = "the file could not be read";
        return false;
    }
    return true;
}

// ---- PLY

enum class PlyFormat { Ascii, Little, Big };

struct PlyProperty {
    std::string name;
    int type = 0;     // byte size of a scalar (or of a list's items)
    bool real = false;
    bool isSigned = false;
    bool list = false;
    int countType = 0; // byte size of a list's count
};

struct PlyElement {
    std::string name;
    std::size_t count = 0;
    std::vector<PlyProperty> properties;
};

bool PlyType(const std::string& name, int& size, bool& real, bool& isSigned)
{
    struct Type {
        const char* a;
        const char* b;
        int size;
        bool real, isSigned;
    };
    static const Type types[] = {{"char", "int8", 1, false, true},    {"uchar", "uint8", 1, false, false},
                                 {"short", "int16", 2, false, true},  {"ushort", "uint16", 2, false, false},
                                 {"int", "int32", 4, false, true},    {"uint", "uint32", 4, false, false},
                                 {"float", "float32", 4, true, true}, {"double", "float64", 8, true, true}};
    for (const Type& t : types) {
        if (name == t.a || name == t.b) {
            size = t.size;
            real = t.real;
            isSigned = t.isSigned;
            return true;
        }
    }
    return false;
}

/// One binary scalar, converted to double.
bool ReadBinary(std::istream& in, int size, bool real, bool isSigned, bool bigEndian, double& value)
{
    unsigned char bytes[8];
    if (!in.read(reinterpret_cast<char*>(bytes), size))
        return false;
    if (bigEndian)
        std::reverse(bytes, bytes + size);
    if (real) {
        if (size == 4) {
            float f;
            std::memcpy(&f, bytes, 4);
            value = f;
        } else {
            std::memcpy(&value, bytes, 8);
        }
        return true;
    }
    uint64_t u = 0;
    for (int i = size - 1; i >= 0; --i)
        u = (u << 8) | bytes[i];
    if (isSigned && (bytes[size - 1] & 0x80))
        value = double(int64_t(u | (~uint64_t(0) << (8 * size))));
    else
        value = double(u);
    return true;
}

bool ReadPly(std::istream& in, std::size_t maxPoints, PointCloud& cloud, std::string& error)
{
    std::string line;
    if (!std::getline(in, line) || Lower(line.substr(0, 3)) != "ply") {
        error = "not a PLY file (no \"ply\" on the first line)";
        return false;
    }
    PlyFormat format = PlyFormat::Ascii;
    bool haveFormat = false;
    std::vector<PlyElement> elements;
    for (;;) {
        if (!std::getline(in, line)) {
            error = "the PLY header has no end_header";
            return false;
        }
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "end_header")
            break;
        if (word == "format") {
            std::string kind;
            words >> kind;
            haveFormat = true;
            if (kind == "ascii")
                format = PlyFormat::Ascii;
            else if (kind == "binary_little_endian")
                format = PlyFormat::Little;
            else if (kind == "binary_big_endian")
                format = PlyFormat::Big;
            else {
                error = "unknown PLY format \"" + kind + "\"";
                return false;
            }
        } else if (word == "element") {
            PlyElement element;
            long long count = -1;
            words >> element.name >> count;
            if (!words || count < 0) {
                error = "malformed PLY element line \"" + line + "\"";
                return false;
            }
            element.count = std::size_t(count);
            elements.push_back(element);
        } else if (word == "property") {
            if (elements.empty()) {
                error = "a PLY property before any element";
                return false;
            }
            PlyProperty property;
            std::string type;
            words >> type;
            if (type == "list") {
                std::string countType, itemType;
                words >> countType >> itemType >> property.name;
                bool real = false, isSigned = false;
                if (!PlyType(countType, property.countType, real, isSigned) || real ||
                    !PlyType(itemType, property.type, property.real, property.isSigned)) {
                    error = "unknown PLY list type in \"" + line + "\"";
                    return false;
                }
                property.list = true;
            } else {
                words >> property.name;
                if (!PlyType(type, property.type, property.real, property.isSigned)) {
                    error = "unknown PLY property type \"" + type + "\"";
                    return false;
                }
            }
            elements.back().properties.push_back(property);
        } else if (word != "comment" && word != "obj_info" && !word.empty()) {
            error = "unknown PLY header line \"" + line + "\"";
            return false;
        }
    }
    if (!haveFormat) {
        error = "the PLY header has no format";
        return false;
    }

    const bool bigEndian = format == PlyFormat::Big;
    std::vector<double> values;
    for (const PlyElement& element : elements) {
        const bool vertex = element.name == "vertex";
        int at[6] = {-1, -1, -1, -1, -1, -1};
        double colorScale[3] = {1.0, 1.0, 1.0};
        if (vertex) {
            if (element.count > maxPoints) {
                error = "too many points (at most " + std::to_string(maxPoints) + ")";
                return false;
            }
            static const char* const names[6][2] = {{"x", "x"}, {"y", "y"}, {"z", "z"},
                                                    {"red", "diffuse_red"}, {"green", "diffuse_green"},
                                                    {"blue", "diffuse_blue"}};
            for (std::size_t p = 0; p < element.properties.size(); ++p) {
                const PlyProperty& property = element.properties[p];
                for (int k = 0; k < 6; ++k)
                    if (!property.list && (property.name == names[k][0] || property.name == names[k][1]))
                        at[k] = int(p);
            }
            if (at[0] < 0 || at[1] < 0 || at[2] < 0) {
                error = "the PLY vertex element has no x, y and z";
                return false;
            }
            for (int k = 0; k < 3; ++k) {
                if (at[3 + k] < 0) {
                    at[3] = at[4] = at[5] = -1;
                    break;
                }
                const PlyProperty& c = element.properties[std::size_t(at[3 + k])];
                colorScale[k] = c.real ? 1.0 : 1.0 / (std::pow(2.0, 8.0 * c.type - (c.isSigned ? 1 : 0)) - 1.0);
            }
            cloud.positions.reserve(element.count);
            if (at[3] >= 0)
                cloud.colors.reserve(element.count);
        }
        values.assign(element.properties.size(), 0.0);
        for (std::size_t item = 0; item < element.count; ++item) {
            std::istringstream text;
            if (format == PlyFormat::Ascii) {
                do {
                    if (!std::getline(in, line)) {
                        error = "the PLY " + element.name + " element ends after " + std::to_string(item) + " of " +
                                std::to_string(element.count) + " items";
                        return false;
                    }
                } while (line.find_first_not_of(" \t\r") == std::string::npos);
                text.str(line);
            }
            for (std::size_t p = 0; p < element.properties.size(); ++p) {
                const PlyProperty& property = element.properties[p];
                double count = 1.0;
                bool ok = true;
                if (property.list) {
                    ok = format == PlyFormat::Ascii
                             ? bool(text >> count)
                             : ReadBinary(in, property.countType, false, false, bigEndian, count);
                    ok = ok && count >= 0.0 && count <= 1.0e6;
                }
                for (double i = 0.0; ok && i < count; i += 1.0) {
                    double v = 0.0;
                    ok = format == PlyFormat::Ascii
                             ? bool(text >> v)
                             : ReadBinary(in, property.type, property.real, property.isSigned, bigEndian, v);
                    values[p] = v;
                }
                if (!ok) {
                    error = "the PLY " + element.name + " element is malformed or truncated at item " +
                            std::to_string(item);
                    return false;
                }
            }
            if (!vertex)
                continue;
            const double x = values[std::size_t(at[0])], y = values[std::size_t(at[1])], z = values[std::size_t(at[2])];
            if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || !Fits(x) || !Fits(y) || !Fits(z)) {
                error = "PLY vertex " + std::to_string(item) + " is not finite";
                return false;
            }
            cloud.positions.emplace_back(float(x), float(y), float(z));
            if (at[3] >= 0) {
                glm::vec3 c;
                for (int k = 0; k < 3; ++k) {
                    const double v = values[std::size_t(at[3 + k])] * colorScale[k];
                    c[k] = std::isfinite(v) ? float(std::clamp(v, 0.0, 1.0)) : 0.0f;
                }
                cloud.colors.push_back(c);
            }
        }
        if (vertex)
            break; // what follows the vertices is not needed
    }
    return true;
}

} // namespace

bool ReadPointFile(const std::string& path, std::size_t maxPoints, PointCloud& cloud, std::string& error)
{
    cloud = PointCloud();
    const std::string extension = Extension(path);
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open \"" + path + "\"";
        return false;
    }
    bool ok = false;
    if (extension == "ply")
        ok = ReadPly(in, maxPoints, cloud, error);
    else if (extension == "csv")
        ok = ReadText(in, true, maxPoints, cloud, error);
    else if (extension == "xyz" || extension == "pts" || extension == "txt")
        ok = ReadText(in, false, maxPoints, cloud, error);
    else
        error = "unknown point file type \"." + extension + "\" (expected .xyz, .pts, .txt, .csv or .ply)";
    if (ok && cloud.positions.empty()) {
        error = "the file holds no points";
        ok = false;
    }
    if (!ok)
        cloud = PointCloud();
    return ok;
}

} // namespace orvrender

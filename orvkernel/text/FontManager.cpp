#include <orvkernel/text/FontManager.h>

#include <orvcommon/Logger.h>
#include <orvcommon/TypedArray.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/geometry/GeometryBuilder.h>

#include <array>
#include <deque>
#include <map>
#include <unordered_map>
#include <vector>

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <GL/glu.h>

namespace orvcore {

namespace {

constexpr const char* kDefaultFontPath = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// Straight pieces per curve segment. Glyph curves are short and gentle; a
// fixed count keeps meshes small and their size predictable.
constexpr int kConicSteps = 8;
constexpr int kCubicSteps = 12;

// Distance between two baselines, in ems.
constexpr double kLineSpacing = 1.2;

using TessVertex = std::array<GLdouble, 3>;
using Contour = std::vector<TessVertex>;

/// The closed contours of one glyph outline, curves flattened, in font units.
struct OutlineBuilder {
    std::vector<Contour> contours;
    double x = 0.0;
    double y = 0.0;

    void Close()
    {
        if (contours.empty())
            return;
        Contour& c = contours.back();
        // The outline repeats the start point when it ends on it; GLU wants
        // every vertex once.
        while (c.size() > 1 && c.back()[0] == c.front()[0] && c.back()[1] == c.front()[1])
            c.pop_back();
        if (c.size() < 3)
            contours.pop_back();
    }

    void Start(double px, double py)
    {
        Close();
        contours.emplace_back();
        x = px;
        y = py;
        contours.back().push_back({px, py, 0.0});
    }

    void Add(double px, double py)
    {
        if (contours.empty())
            Start(x, y);
        const TessVertex& last = contours.back().back();
        if (last[0] != px || last[1] != py)
            contours.back().push_back({px, py, 0.0});
        x = px;
        y = py;
    }

    static OutlineBuilder& From(void* user) { return *static_cast<OutlineBuilder*>(user); }

    static int MoveTo(const FT_Vector* to, void* user)
    {
        From(user).Start(double(to->x), double(to->y));
        return 0;
    }

    static int LineTo(const FT_Vector* to, void* user)
    {
        From(user).Add(double(to->x), double(to->y));
        return 0;
    }

    static int ConicTo(const FT_Vector* control, const FT_Vector* to, void* user)
    {
        OutlineBuilder& b = From(user);
        const double x0 = b.x, y0 = b.y;
        for (int i = 1; i <= kConicSteps; ++i) {
            const double t = double(i) / kConicSteps, s = 1.0 - t;
            b.Add(s * s * x0 + 2.0 * s * t * double(control->x) + t * t * double(to->x),
                  s * s * y0 + 2.0 * s * t * double(control->y) + t * t * double(to->y));
        }
        return 0;
    }

    static int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user)
    {
        OutlineBuilder& b = From(user);
        const double x0 = b.x, y0 = b.y;
        for (int i = 1; i <= kCubicSteps; ++i) {
            const double t = double(i) / kCubicSteps, s = 1.0 - t;
            const double w0 = s * s * s, w1 = 3.0 * s * s * t, w2 = 3.0 * s * t * t, w3 = t * t * t;
            b.Add(w0 * x0 + w1 * double(c1->x) + w2 * double(c2->x) + w3 * double(to->x),
                  w0 * y0 + w1 * double(c1->y) + w2 * double(c2->y) + w3 * double(to->y));
        }
        return 0;
    }
};

/// Receives the tessellator's output and keeps it as plain triangles,
/// counter-clockwise in the XY plane.
struct TriangleCollector {
    GLenum mode = GL_TRIANGLES;
    std::vector<const GLdouble*> primitive;
    // Vertices the tessellator creates at intersections; a deque keeps their
    // addresses while it grows.
    std::deque<TessVertex> created;
    std::vector<double> triangles; // x, y per corner
    bool failed = false;

    void AddTriangle(const GLdouble* a, const GLdouble* b, const GLdouble* c)
    {
        const double area = (b[0] - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (b[1] - a[1]);
        if (area == 0.0)
            return;
        if (area < 0.0)
            std::swap(b, c);
        triangles.insert(triangles.end(), {a[0], a[1], b[0], b[1], c[0], c[1]});
    }

    void Flush()
    {
        const std::size_t n = primitive.size();
        if (mode == GL_TRIANGLES) {
            for (std::size_t i = 0; i + 2 < n; i += 3)
                AddTriangle(primitive[i], primitive[i + 1], primitive[i + 2]);
        } else if (mode == GL_TRIANGLE_FAN) {
            for (std::size_t i = 1; i + 1 < n; ++i)
                AddTriangle(primitive[0], primitive[i], primitive[i + 1]);
        } else if (mode == GL_TRIANGLE_STRIP) {
            for (std::size_t i = 0; i + 2 < n; ++i) {
                if (i % 2 == 0)
                    AddTriangle(primitive[i], primitive[i + 1], primitive[i + 2]);
                else
                    AddTriangle(primitive[i + 1], primitive[i], primitive[i + 2]);
            }
        }
        primitive.clear();
    }

    static TriangleCollector& From(void* data) { return *static_cast<TriangleCollector*>(data); }

    static void GLAPIENTRY OnBegin(GLenum type, void* data)
    {
        TriangleCollector& c = From(data);
        c.mode = type;
        c.primitive.clear();
    }

    static void GLAPIENTRY OnVertex(void* vertex, void* data)
    {
        From(data).primitive.push_back(static_cast<const GLdouble*>(vertex));
    }

    static void GLAPIENTRY OnEnd(void* data) { From(data).Flush(); }

    // Having an edge-flag callback makes GLU emit separate triangles only;
    // the flags themselves are of no use here.
    static void GLAPIENTRY OnEdgeFlag(GLboolean, void*) {}

    static void GLAPIENTRY OnCombine(GLdouble coords[3], void* [4], GLfloat [4], void** outData, void* data)
    {
        TriangleCollector& c = From(data);
        c.created.push_back({coords[0], coords[1], coords[2]});
        *outData = c.created.back().data();
    }

    static void GLAPIENTRY OnError(GLenum, void* data) { From(data).failed = true; }
};

template <typename F>
_GLUfuncptr Callback(F* function)
{
    return reinterpret_cast<_GLUfuncptr>(function);
}

std::shared_ptr<BufferGeometry> MakeMesh(std::vector<float>& positions, std::vector<float>& normals)
{
    return GeometryBuilder::CreateGeometry(Float32Array(positions.data(), positions.size()),
                                           Float32Array(normals.data(), normals.size()), PRIMITIVE_TRIANGLES);
}

} // namespace

class FontManager::Impl {
public:
    ~Impl()
    {
        for (auto& entry : faces)
            FT_Done_Face(entry.second);
        if (library)
            FT_Done_FreeType(library);
    }

    FT_Library GetLibrary()
    {
        if (!libraryTried) {
            libraryTried = true;
            if (FT_Init_FreeType(&library) != 0) {
                library = nullptr;
                Logger::Instance().Waring("FreeType cannot be initialised!");
            }
        }
        return library;
    }

    std::string defaultPath = kDefaultFontPath;
    FT_Library library = nullptr;
    bool libraryTried = false;
    FT_Face defaultFace = nullptr;
    bool defaultTried = false;
    std::map<std::string, FT_Face> faces;

    /// A glyph of the default face as `CreateMesh` lays it: its triangles
    /// in font units from its own origin, and its advance.
    struct GlyphMesh {
        bool loaded = false; ///< false: FreeType could not load it (skipped, no advance)
        bool failed = false; ///< the outline could not be triangulated
        double advance = 0.0;
        std::vector<double> triangles; ///< x, y per corner
    };
    /// Glyph meshes by glyph index: labels that change every frame (a
    /// dimension being dragged) reuse the triangulation of every glyph.
    std::unordered_map<unsigned int, GlyphMesh> glyphMeshes;
};

FontManager& FontManager::Instance()
{
    // Never destroyed, like the material manager: text may be rendered from
    // static objects while the process shuts down.
    static FontManager* const instance = new FontManager();
    return *instance;
}

FontManager::FontManager() : m_Impl(std::make_unique<Impl>()) {}

FontManager::~FontManager() = default;

const std::string& FontManager::GetDefaultFontPath() const { return m_Impl->defaultPath; }

FT_Face FontManager::GetFace(const std::string& path)
{
    auto found = m_Impl->faces.find(path);
    if (found != m_Impl->faces.end())
        return found->second;
    FT_Library library = m_Impl->GetLibrary();
    if (!library)
        return nullptr;
    FT_Face face = nullptr;
    const FT_Error error = FT_New_Face(library, path.c_str(), 0, &face);
    if (error != 0) {
        if (error == FT_Err_Cannot_Open_Resource)
            Logger::Instance().Waring("Font file is not found: " + path + "!");
        else
            Logger::Instance().Waring("Font file cannot be read: " + path + "!");
        return nullptr;
    }
    m_Impl->faces.emplace(path, face);
    return face;
}

FT_Face FontManager::GetDefaultFace()
{
    if (!m_Impl->defaultTried) {
        m_Impl->defaultTried = true;
        m_Impl->defaultFace = GetFace(m_Impl->defaultPath);
    }
    return m_Impl->defaultFace;
}

std::shared_ptr<BufferGeometry> FontManager::CreateMesh(const std::wstring& text)
{
    std::vector<float> positions;
    std::vector<float> normals;
    if (text.empty())
        return MakeMesh(positions, normals);
    FT_Face face = GetDefaultFace();
    if (!face)
        return MakeMesh(positions, normals);
    if (!FT_IS_SCALABLE(face) || face->units_per_EM == 0) {
        Logger::Instance().Waring("Font has no glyph outlines!");
        return MakeMesh(positions, normals);
    }

    // Glyphs are triangulated once and kept; the tessellator is made only
    // when a glyph is met for the first time.
    GLUtesselator* tess = nullptr;
    bool tessFailed = false;
    FT_Outline_Funcs funcs = {};
    funcs.move_to = &OutlineBuilder::MoveTo;
    funcs.line_to = &OutlineBuilder::LineTo;
    funcs.conic_to = &OutlineBuilder::ConicTo;
    funcs.cubic_to = &OutlineBuilder::CubicTo;

    // Outlines are read unscaled (font units), so the mesh does not depend
    // on the size a texture was last rendered at.
    const double scale = 1.0 / double(face->units_per_EM);
    const bool kerning = FT_HAS_KERNING(face);
    double penX = 0.0, penY = 0.0; // font units
    FT_UInt previous = 0;
    bool failedGlyph = false;
    for (wchar_t ch : text) {
        if (ch == L'\r')
            continue;
        if (ch == L'\n') {
            penX = 0.0;
            penY -= kLineSpacing * double(face->units_per_EM);
            previous = 0;
            continue;
        }
        // A character the face lacks maps to glyph 0, the face's missing-glyph box.
        const FT_UInt glyph = FT_Get_Char_Index(face, FT_ULong(ch));
        if (kerning && previous != 0 && glyph != 0) {
            FT_Vector delta;
            if (FT_Get_Kerning(face, previous, glyph, FT_KERNING_UNSCALED, &delta) == 0)
                penX += double(delta.x);
        }
        previous = glyph;

        auto cached = m_Impl->glyphMeshes.find(glyph);
        if (cached == m_Impl->glyphMeshes.end()) {
            if (!tess && !tessFailed) {
                tess = gluNewTess();
                tessFailed = !tess;
                if (tessFailed) {
                    Logger::Instance().Waring("Glyph tessellator cannot be created!");
                } else {
                    gluTessCallback(tess, GLU_TESS_BEGIN_DATA, Callback(&TriangleCollector::OnBegin));
                    gluTessCallback(tess, GLU_TESS_VERTEX_DATA, Callback(&TriangleCollector::OnVertex));
                    gluTessCallback(tess, GLU_TESS_END_DATA, Callback(&TriangleCollector::OnEnd));
                    gluTessCallback(tess, GLU_TESS_EDGE_FLAG_DATA, Callback(&TriangleCollector::OnEdgeFlag));
                    gluTessCallback(tess, GLU_TESS_COMBINE_DATA, Callback(&TriangleCollector::OnCombine));
                    gluTessCallback(tess, GLU_TESS_ERROR_DATA, Callback(&TriangleCollector::OnError));
                    gluTessNormal(tess, 0.0, 0.0, 1.0);
                }
            }
            if (!tess) { // nothing can be triangulated (warned above): no mesh at all
                positions.clear();
                normals.clear();
                break;
            }
            Impl::GlyphMesh mesh;
            mesh.loaded = FT_Load_Glyph(face, glyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_BITMAP | FT_LOAD_NO_HINTING) == 0;
            if (mesh.loaded) {
                const FT_GlyphSlot slot = face->glyph;
                mesh.advance = double(slot->advance.x);
                if (slot->format == FT_GLYPH_FORMAT_OUTLINE && slot->outline.n_contours > 0) {
                    OutlineBuilder outline;
                    FT_Outline_Decompose(&slot->outline, &funcs, &outline);
                    outline.Close();

                    TriangleCollector collector;
                    const bool evenOdd = (slot->outline.flags & FT_OUTLINE_EVEN_ODD_FILL) != 0;
                    gluTessProperty(tess, GLU_TESS_WINDING_RULE,
                                    evenOdd ? GLU_TESS_WINDING_ODD : GLU_TESS_WINDING_NONZERO);
                    gluTessBeginPolygon(tess, &collector);
                    for (Contour& contour : outline.contours) {
                        gluTessBeginContour(tess);
                        for (TessVertex& v : contour)
                            gluTessVertex(tess, v.data(), v.data());
                        gluTessEndContour(tess);
                    }
                    gluTessEndPolygon(tess);
                    mesh.failed = collector.failed;
                    if (!mesh.failed)
                        mesh.triangles = std::move(collector.triangles);
                }
            }
            cached = m_Impl->glyphMeshes.emplace(glyph, std::move(mesh)).first;
        }

        const Impl::GlyphMesh& mesh = cached->second;
        if (!mesh.loaded)
            continue;
        failedGlyph = failedGlyph || mesh.failed;
        const std::vector<double>& t = mesh.triangles;
        const std::size_t corners = t.size() / 2;
        const std::size_t at = positions.size();
        positions.resize(at + corners * 3);
        normals.resize(at + corners * 3);
        float* p = positions.data() + at;
        float* n = normals.data() + at;
        for (std::size_t i = 0; i < corners; ++i, p += 3, n += 3) {
            p[0] = float((penX + t[2 * i]) * scale);
            p[1] = float((penY + t[2 * i + 1]) * scale);
            p[2] = 0.0f;
            n[0] = 0.0f;
            n[1] = 0.0f;
            n[2] = 1.0f;
        }
        penX += mesh.advance;
    }
    if (tess)
        gluDeleteTess(tess);
    if (failedGlyph)
        Logger::Instance().Waring("Glyph outline cannot be triangulated!");
    return MakeMesh(positions, normals);
}

} // namespace orvcore

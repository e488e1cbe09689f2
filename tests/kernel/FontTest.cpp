#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/text/FontManager.h>
#include <orvkernel/text/FontMaterial.h>

#include <gtest/gtest.h>

#include "LogCapture.h"

using namespace orvcore;

namespace {

std::shared_ptr<BufferGeometry> Mesh(const std::wstring& text) { return FontManager::Instance().CreateMesh(text); }

// Signed area of triangle i (counter-clockwise seen from +Z is positive).
float SignedArea(const BufferGeometry& g, std::size_t i)
{
    const glm::vec3 a = g.GetPositions()->GetVec3(i), b = g.GetPositions()->GetVec3(i + 1),
                    c = g.GetPositions()->GetVec3(i + 2);
    return 0.5f * ((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y));
}

float Area(const BufferGeometry& g)
{
    float sum = 0.0f;
    for (std::size_t i = 0; i + 2 < g.GetVertexCount(); i += 3)
        sum += SignedArea(g, i);
    return sum;
}

glm::vec3 Size(const std::wstring& text) { return Mesh(text)->GetBoundingBox().getSize(); }

// First and last image rows with any coverage.
std::pair<int, int> InkedRows(const FontMaterial& m)
{
    const auto& image = *m.GetImage();
    int first = -1, last = -1;
    for (unsigned int i = 0; i < image.GetWidth() * image.GetHeight(); ++i)
        if (image.GetPixels()[i * 4 + 3] > 0) {
            const int row = int(i / image.GetWidth());
            first = first < 0 ? row : first;
            last = row;
        }
    return {first, last};
}

} // namespace

TEST(FontMesh, StringsBecomeFlatCounterClockwiseTriangles)
{
    orvtest::LogCapture log;
    for (const std::wstring& text : std::vector<std::wstring>{L"Hello", L"Привет", L"αβγ", L"&8@%"}) {
        SCOPED_TRACE(testing::Message() << "U+" << std::hex << int(text[0]));
        auto mesh = Mesh(text);
        EXPECT_EQ(mesh->GetPrimitiveType(), PRIMITIVE_TRIANGLES);
        EXPECT_FALSE(mesh->GetIndex());
        const std::size_t n = mesh->GetVertexCount();
        ASSERT_GT(n, 0u);
        ASSERT_EQ(n % 3, 0u);
        ASSERT_EQ(mesh->GetNormals()->GetCount(), n);
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_EQ(mesh->GetPositions()->GetVec3(i).z, 0.0f);
            ASSERT_EQ(mesh->GetNormals()->GetVec3(i), glm::vec3(0, 0, 1));
            if (i % 3 == 0) {
                ASSERT_GT(SignedArea(*mesh, i), 0.0f);
            }
        }
        EXPECT_EQ(mesh->GetBoundingBox(), mesh->GetSafeBoudingBox());
    }
    // Nothing to draw is not a failure.
    EXPECT_EQ(Mesh(L"")->GetVertexCount(), 0u);
    EXPECT_TRUE(Mesh(L"")->GetBoundingBox().isNull());
    EXPECT_EQ(Mesh(L"  ")->GetVertexCount(), 0u);
    EXPECT_TRUE(log.warnings.empty());
}

TEST(FontMesh, LayoutIsOneUnitPerEmAlongTheBaseline)
{
    const AxisAlignedBox l = Mesh(L"l")->GetBoundingBox();
    EXPECT_NEAR(l.getMinimum().y, 0.0f, 1e-4f); // stands on the baseline
    EXPECT_GT(l.getMaximum().y, 0.65f);          // an ascender is about 3/4 em
    EXPECT_LT(l.getMaximum().y, 0.85f);
    EXPECT_GE(l.getMinimum().x, 0.0f); // starts at the origin plus its side bearing
    EXPECT_LT(l.getMinimum().x, 0.2f);
    EXPECT_LT(Mesh(L"g")->GetBoundingBox().getMinimum().y, -0.1f);

    // The pen moves along +X, blanks included.
    EXPECT_GT(Size(L"HH").x, 1.5f * Size(L"H").x);
    EXPECT_GT(Size(L"H H").x, Size(L"HH").x);
    EXPECT_LT(Size(L"Hello").x, Size(L"Hello, world").x);

    // A new line starts 1.2 em lower, back at the left; '\r' is ignored.
    const AxisAlignedBox a = Mesh(L"A")->GetBoundingBox(), two = Mesh(L"A\r\nA")->GetBoundingBox();
    EXPECT_FLOAT_EQ(two.getMaximum().x, a.getMaximum().x);
    EXPECT_NEAR(two.getMinimum().y, a.getMinimum().y - 1.2f, 1e-5f);

    // Missing characters take the notdef glyph, one box for all.
    orvtest::LogCapture log;
    auto missing = Mesh(std::wstring(1, wchar_t(0xE000)));
    ASSERT_GT(missing->GetVertexCount(), 0u);
    EXPECT_EQ(missing->GetBoundingBox(), Mesh(std::wstring(1, wchar_t(0xE123)))->GetBoundingBox());
    EXPECT_GT(Size(L"a" + std::wstring(1, wchar_t(0xE000)) + L"a").x, Size(L"aa").x);
    EXPECT_TRUE(log.warnings.empty());
}

TEST(FontMesh, TrianglesCoverTheOutlineExactlyOnce)
{
    // The hole of an 'O' stays open; a bar fills its box.
    auto o = Mesh(L"O");
    const glm::vec3 box = o->GetBoundingBox().getSize();
    EXPECT_LT(Area(*o), 0.6f * box.x * box.y);
    auto l = Mesh(L"l");
    EXPECT_NEAR(Area(*l), l->GetBoundingBox().getSize().x * l->GetBoundingBox().getSize().y, 1e-4f);

    // The rasteriser is an independent measure of the same outline:
    // overlapping or missing triangles would break the agreement.
    const float px = 256.0f;
    for (const std::wstring& text : std::vector<std::wstring>{L"O", L"8", L"&", L"Ж", L"@"}) {
        FontMaterial m;
        m.SetText(text, px, "");
        double coverage = 0.0;
        for (std::size_t i = 3; i < m.GetImage()->GetPixels().size(); i += 4)
            coverage += m.GetImage()->GetPixels()[i] / 255.0;
        EXPECT_NEAR(Area(*Mesh(text)) * px * px / coverage, 1.0, 0.04) << int(text[0]);
    }
}

TEST(FontMesh, KeptGlyphsLayOutLikeFreshOnes)
{
    // Glyph triangles are kept between calls; a string met again, or the
    // same glyphs further along the line, must come out exactly as before.
    const auto first = Mesh(L"10.25 mm");
    const auto again = Mesh(L"10.25 mm");
    ASSERT_EQ(first->GetVertexCount(), again->GetVertexCount());
    for (std::size_t v = 0; v < first->GetVertexCount(); ++v)
        ASSERT_EQ(first->GetPositions()->GetVec3(v), again->GetPositions()->GetVec3(v)) << v;
    // "0" then "00": the second glyph is the first moved by the advance.
    const auto one = Mesh(L"0");
    const auto two = Mesh(L"00");
    const std::size_t n = one->GetVertexCount();
    ASSERT_GT(n, 0u);
    ASSERT_EQ(two->GetVertexCount(), 2 * n);
    const float advance = two->GetPositions()->GetVec3(n).x - one->GetPositions()->GetVec3(0).x;
    EXPECT_GT(advance, 0.3f); // digits advance about 0.64 em
    for (std::size_t v = 0; v < n; ++v) {
        EXPECT_EQ(two->GetPositions()->GetVec3(v), one->GetPositions()->GetVec3(v));
        EXPECT_NEAR(two->GetPositions()->GetVec3(n + v).x, one->GetPositions()->GetVec3(v).x + advance, 1e-5f);
        EXPECT_EQ(two->GetPositions()->GetVec3(n + v).y, one->GetPositions()->GetVec3(v).y);
    }
}

TEST(FontMaterial, CreateRegistersAndSettersRaiseTheCounterOnChange)
{
    auto m = FontMaterial::Create("label"); // (drawn with its image by the GL draw tests)

    // Each change raises the counter once; the same value again does not.
    const std::function<void()> steps[] = {[&] { m->SetBillboard(true); },
                                           [&] { m->SetBackground(glm::vec3(0.0f)); }, // black is a background too
                                           [&] { m->ClearBackground(); }};
    for (const auto& step : steps) {
        const uint32_t version = m->GetUpdateVersion();
        step();
        step();
        EXPECT_EQ(m->GetUpdateVersion(), version + 1);
    }
    EXPECT_TRUE(m->GetBillboard() && !m->HasBackground());
}

TEST(FontMaterial, ImageSizeBaselineAndCoverage)
{
    FontMaterial m;
    const auto hi = m.SetText(L"Hi", 32.0f, "");
    EXPECT_EQ(hi, std::make_pair(m.GetImage()->GetWidth(), m.GetImage()->GetHeight()));
    EXPECT_GE(hi.second, 32u); // one line height, about 1.2 em
    EXPECT_LE(hi.second, 42u);
    const auto longer = m.SetText(L"Hi there", 32.0f, "");
    EXPECT_GT(longer.first, hi.first + 40u);
    EXPECT_EQ(longer.second, hi.second);
    const auto bigger = m.SetText(L"Hi", 64.0f, "");
    EXPECT_NEAR(double(bigger.second), 2.0 * hi.second, 2.0);
    EXPECT_NEAR(double(bigger.first), 2.0 * hi.first, 3.0);

    // Rows run from the top; glyphs share one baseline.
    m.SetText(L"H", 48.0f, "");
    const auto h = InkedRows(m);
    m.SetText(L".", 48.0f, "");
    EXPECT_NEAR(InkedRows(m).second, h.second, 1);
    EXPECT_GT(InkedRows(m).first, h.first + 20);
    m.SetText(L"g", 48.0f, "");
    EXPECT_GT(InkedRows(m).second, h.second + 5);

    // Coverage is the alpha of white pixels, whatever the background (the
    // shader's business); nothing to draw is one clear pixel.
    const auto coverage = [&m] {
        std::vector<uint8_t> alpha;
        for (std::size_t i = 0; i < m.GetImage()->GetPixels().size(); i += 4) {
            EXPECT_EQ(m.GetImage()->GetPixels()[i], 255);
            alpha.push_back(m.GetImage()->GetPixels()[i + 3]);
        }
        return alpha;
    };
    m.SetText(L"W", 40.0f, "");
    const std::vector<uint8_t> plain = coverage();
    EXPECT_EQ(*std::min_element(plain.begin(), plain.end()), 0);
    EXPECT_EQ(*std::max_element(plain.begin(), plain.end()), 255);
    m.SetBackground(glm::vec3(0, 0, 1));
    m.SetText(L"W", 40.0f, "");
    EXPECT_EQ(coverage(), plain);
    EXPECT_EQ(m.SetText(L"", 32.0f, ""), std::make_pair(1u, 1u));
    EXPECT_EQ(m.GetImage()->GetPixels(), std::vector<uint8_t>(4, 0));
}

#include <orvkernel/text/FontMaterial.h>

#include <orvcommon/Logger.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/text/FontManager.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include <ft2build.h>
#include FT_FREETYPE_H

namespace orvcore {

namespace {

constexpr float kDefaultFontSize = 32.0f;
// Beyond this a single glyph would need megabytes of texture.
constexpr float kMaxFontSize = 1024.0f;
constexpr unsigned int kMaxTextWidth = ImageTexture2D::kMaxSize;

/// Composites white at coverage `a` over one RGBA pixel.
void BlendWhite(uint8_t* pixel, unsigned int a)
{
    for (int k = 0; k < 4; ++k)
        pixel[k] = static_cast<uint8_t>(pixel[k] + ((255u - pixel[k]) * a + 127u) / 255u);
}

/// Coverage (0 to 255) of bitmap pixel (x, y) in the two formats FreeType
/// renders outlines to; other formats draw nothing.
unsigned int Coverage(const FT_Bitmap& bitmap, unsigned int x, unsigned int y)
{
    const unsigned char* row = bitmap.buffer + std::ptrdiff_t(y) * bitmap.pitch;
    if (bitmap.pitch < 0)
        row = bitmap.buffer + std::ptrdiff_t(bitmap.rows - 1 - y) * -bitmap.pitch;
    if (bitmap.pixel_mode == FT_PIXEL_MODE_GRAY)
        return bitmap.num_grays > 1 ? row[x] * 255u / (bitmap.num_grays - 1u) : 0u;
    if (bitmap.pixel_mode == FT_PIXEL_MODE_MONO)
        return (row[x / 8] >> (7 - x % 8)) & 1u ? 255u : 0u;
    return 0;
}

// Control characters have no place on a one-line label.
bool IsDrawn(wchar_t ch) { return ch >= 0x20 && ch != 0x7f; }

} // namespace

FontMaterial::FontMaterial() : FontMaterial(std::string()) {}

FontMaterial::FontMaterial(std::string name, std::string templateName)
    : MaterialInstance(std::move(name), std::move(templateName)),
      m_Image(std::make_shared<ImageTexture2D>(1, 1, nullptr))
{
    // Glyph edges are blended over what lies behind them, so text is drawn
    // blended; it keeps its true depth key so that it sorts after the
    // (scaled-down) keys of the opaque faces drawn with it.
    BlendingMode = BLENDING_NORMAL;
    OrderExempt = true;
    AddTexture("map", m_Image);
}

std::shared_ptr<FontMaterial> FontMaterial::Create(const std::string& name)
{
    auto material = std::make_shared<FontMaterial>(name);
    MaterialManager::Instance().Register(material, kTemplate);
    return material;
}

void FontMaterial::SetBillboard(bool on)
{
    if (m_Billboard == on)
        return;
    m_Billboard = on;
    RequestUpdate();
}

void FontMaterial::SetBackground(const glm::vec3& color)
{
    if (m_HasBackground && m_Background == color)
        return;
    m_HasBackground = true;
    m_Background = color;
    RequestUpdate();
}

void FontMaterial::ClearBackground()
{
    if (!m_HasBackground)
        return;
    m_HasBackground = false;
    RequestUpdate();
}

std::pair<unsigned int, unsigned int> FontMaterial::SetText(const std::wstring& text, float fontSize,
                                                            const std::string& font)
{
    const auto finish = [this](unsigned int width, unsigned int height, const uint8_t* rgba) {
        m_Image->SetImage(width, height, rgba);
        RequestUpdate();
        return std::make_pair(width, height);
    };
    if (text.empty())
        return finish(1, 1, nullptr);

    if (!std::isfinite(fontSize) || fontSize <= 0.0f) {
        Logger::Instance().Waring("Font size must be positive!");
        fontSize = kDefaultFontSize;
    } else if (fontSize > kMaxFontSize) {
        Logger::Instance().Waring("Font size is too large!");
        fontSize = kMaxFontSize;
    }

    FontManager& fonts = FontManager::Instance();
    FT_Face face = nullptr;
    if (!font.empty())
        face = fonts.GetFace(font);
    if (!face)
        face = fonts.GetDefaultFace();
    if (!face || FT_Set_Char_Size(face, 0, FT_F26Dot6(std::lround(fontSize * 64.0f)), 72, 72) != 0)
        return finish(1, 1, nullptr);

    // Measure: the pen position of every glyph, in 26.6 pixels.
    std::vector<FT_UInt> glyphs;
    std::vector<long> pens;
    long pen = 0;
    for (wchar_t ch : text) {
        if (!IsDrawn(ch))
            continue;
        // A character the face lacks maps to glyph 0, the missing-glyph box.
        const FT_UInt glyph = FT_Get_Char_Index(face, FT_ULong(ch));
        if (FT_Load_Glyph(face, glyph, FT_LOAD_DEFAULT) != 0)
            continue;
        glyphs.push_back(glyph);
        pens.push_back(pen);
        pen += face->glyph->advance.x;
    }

    const FT_Size_Metrics& metrics = face->size->metrics;
    const long ascender = (long(metrics.ascender) + 63) / 64;
    const long descender = long(metrics.descender) >= 0 ? long(metrics.descender) / 64
                                                         : -((-long(metrics.descender) + 63) / 64);
    const unsigned int height = static_cast<unsigned int>(std::max(1L, ascender - descender));
    long fullWidth = std::max(1L, (pen + 63) / 64);
    if (fullWidth > long(kMaxTextWidth)) {
        Logger::Instance().Waring("Text is wider than 16384 pixels and is cut!");
        fullWidth = kMaxTextWidth;
    }
    const unsigned int width = static_cast<unsigned int>(fullWidth);

    std::vector<uint8_t> pixels(std::size_t(width) * height * 4);
    // White glyph coverage in alpha over transparent white, whatever the
    // background: the shader lays the glyphs over the background colour, so
    // the image does not depend on colours that may change later.
    const uint8_t base[4] = {255, 255, 255, 0};
    for (std::size_t i = 0; i < pixels.size(); i += 4)
        std::copy(base, base + 4, pixels.begin() + std::ptrdiff_t(i));

    // Draw: every glyph on the common baseline, `ascender` rows from the top.
    for (std::size_t g = 0; g < glyphs.size(); ++g) {
        const long penX = pens[g] / 64;
        if (penX >= long(width))
            break;
        if (FT_Load_Glyph(face, glyphs[g], FT_LOAD_RENDER) != 0)
            continue;
        const FT_GlyphSlot slot = face->glyph;
        const FT_Bitmap& bitmap = slot->bitmap;
        const long left = penX + slot->bitmap_left;
        const long top = ascender - slot->bitmap_top;
        for (unsigned int y = 0; y < bitmap.rows; ++y) {
            const long py = top + long(y);
            if (py < 0 || py >= long(height))
                continue;
            for (unsigned int x = 0; x < bitmap.width; ++x) {
                const long px = left + long(x);
                if (px < 0 || px >= long(width))
                    continue;
                const unsigned int a = Coverage(bitmap, x, y);
                if (a)
                    BlendWhite(&pixels[(std::size_t(py) * width + std::size_t(px)) * 4], a);
            }
        }
    }
    return finish(width, height, pixels.data());
}

FontMaterial* FontMaterial::Cast(MaterialInstance* material) { return dynamic_cast<FontMaterial*>(material); }

} // namespace orvcore

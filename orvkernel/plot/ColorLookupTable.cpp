#include <orvkernel/plot/ColorLookupTable.h>

#include <algorithm>
#include <cmath>

#include <orvcommon/Logger.h>

namespace orvcore {

ColorLookupTable::ColorLookupTable() : m_Colors(kDefaultSize, glm::vec3(0.0f))
{
    m_ColorMap = ColorMapKeyword::Create("rainbow");
    Rebuild();
}

bool ColorLookupTable::SetColorMap(const std::shared_ptr<ColorMapKeyword>& map)
{
    if (!map) {
        Logger::Instance().Waring("Color map is null!");
        return false;
    }
    if (map->IsEmpty()) {
        Logger::Instance().Waring("Color map is empty!");
        return false;
    }
    m_ColorMap = map;
    Rebuild();
    return true;
}

bool ColorLookupTable::SetRange(float minimum, float maximum)
{
    if (!std::isfinite(minimum) || !std::isfinite(maximum) || maximum < minimum) {
        Logger::Instance().Waring("Value range is not valid!");
        return false;
    }
    m_Minimum = minimum;
    m_Maximum = maximum;
    UpdateScale();
    return true;
}

bool ColorLookupTable::SetSize(uint32_t size)
{
    if (size < 2 || size > kMaxSize) {
        Logger::Instance().Waring("Table size is out of range!");
        return false;
    }
    m_Colors.assign(size, glm::vec3(0.0f));
    Rebuild();
    return true;
}

glm::vec3 ColorLookupTable::GetTableColor(float t) const
{
    if (!(t > 0.0f))
        t = 0.0f;
    if (t > 1.0f)
        t = 1.0f;
    return m_Colors[uint32_t(t * float(m_Colors.size() - 1) + 0.5f)];
}

bool ColorLookupTable::CreateImage(ImageTexture2D& image, uint32_t width) const
{
    if (width == 0 || width > ImageTexture2D::kMaxSize) {
        Logger::Instance().Waring("Image size is invalid!");
        return false;
    }
    const uint32_t height = GetSize();
    std::vector<uint8_t> rgba(std::size_t(width) * height * 4);
    for (uint32_t row = 0; row < height; ++row) {
        const glm::vec3& c = m_Colors[height - 1 - row];
        const uint8_t texel[4] = {uint8_t(c.r * 255.0f + 0.5f), uint8_t(c.g * 255.0f + 0.5f),
                                  uint8_t(c.b * 255.0f + 0.5f), 255};
        for (uint32_t column = 0; column < width; ++column)
            std::copy(texel, texel + 4, &rgba[(std::size_t(row) * width + column) * 4]);
    }
    image.SetImage(width, height, rgba.data());
    return true;
}

std::shared_ptr<ImageTexture2D> ColorLookupTable::CreateImage() const
{
    auto image = std::make_shared<ImageTexture2D>();
    CreateImage(*image, 1);
    image->SetWrap(TEXTURE_WRAP_CLAMP, TEXTURE_WRAP_CLAMP);
    image->SetFilter(TEXTURE_FILTER_LINEAR, TEXTURE_FILTER_LINEAR);
    return image;
}

void ColorLookupTable::Rebuild()
{
    const std::size_t n = m_Colors.size();
    for (std::size_t i = 0; i < n; ++i)
        m_Colors[i] = m_ColorMap->GetColor(float(i) / float(n - 1));
    UpdateScale();
}

void ColorLookupTable::UpdateScale()
{
    const float span = m_Maximum - m_Minimum;
    m_Scale = span > 0.0f ? 1.0f / span : 0.0f;
    // A span so small that its reciprocal overflows behaves as a point.
    if (!std::isfinite(m_Scale))
        m_Scale = 0.0f;
}

} // namespace orvcore

#include <orvkernel/plot/ColorMapKeyword.h>

#include <algorithm>
#include <cctype>
#include <cmath>

#include <glm/common.hpp>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>

namespace orvcore {

namespace {

// A control point of a built-in map: its position in steps of the map's
// denominator and its colour.
struct Control {
    uint16_t Step;
    uint32_t Color;
};

// viridis: the published table, colour i of 256 at t = i / 255.
const Control kViridis[] = {
    {0, 0x440154}, {4, 0x46075a}, {8, 0x470d60}, {12, 0x471365}, {16, 0x48186a}, {20, 0x481d6f}, {24, 0x482374},
    {28, 0x482878}, {32, 0x472d7b}, {36, 0x46327e}, {40, 0x453781}, {44, 0x443b84}, {48, 0x424086}, {52, 0x404588},
    {56, 0x3e4989}, {60, 0x3d4e8a}, {64, 0x3b528b}, {68, 0x39568c}, {72, 0x375b8d}, {76, 0x355f8d}, {80, 0x33638d},
    {84, 0x31678e}, {88, 0x2f6b8e}, {92, 0x2e6f8e}, {96, 0x2c728e}, {100, 0x2a768e}, {104, 0x297a8e}, {108, 0x277e8e},
    {112, 0x26828e}, {116, 0x25858e}, {120, 0x23898e}, {124, 0x228d8d}, {128, 0x21918c}, {131, 0x20938c},
    {135, 0x1f978b}, {139, 0x1e9b8a}, {143, 0x1f9f88}, {147, 0x1fa287}, {151, 0x21a685}, {155, 0x24aa83},
    {159, 0x27ad81}, {163, 0x2cb17e}, {167, 0x31b57b}, {171, 0x37b878}, {175, 0x3dbc74}, {179, 0x44bf70},
    {183, 0x4cc26c}, {187, 0x54c568}, {191, 0x5cc863}, {195, 0x65cb5e}, {199, 0x6ece58}, {203, 0x77d153},
    {207, 0x81d34d}, {211, 0x8bd646}, {215, 0x95d840}, {219, 0xa0da39}, {223, 0xaadc32}, {227, 0xb5de2b},
    {231, 0xc0df25}, {235, 0xcae11f}, {239, 0xd5e21a}, {243, 0xdfe318}, {247, 0xeae51a}, {251, 0xf4e61e},
    {255, 0xfde725}};

// plasma: the published table, colour i of 256 at t = i / 255.
const Control kPlasma[] = {
    {0, 0x0d0887}, {4, 0x19068c}, {8, 0x220690}, {12, 0x2a0593}, {16, 0x310597}, {20, 0x38049a}, {24, 0x3f049c},
    {28, 0x46039f}, {32, 0x4c02a1}, {36, 0x5302a3}, {40, 0x5901a5}, {44, 0x6001a6}, {48, 0x6600a7}, {52, 0x6c00a8},
    {56, 0x7201a8}, {60, 0x7801a8}, {64, 0x7e03a8}, {68, 0x8405a7}, {72, 0x8a09a5}, {76, 0x8f0da4}, {80, 0x9511a1},
    {84, 0x9a169f}, {88, 0xa01a9c}, {92, 0xa51f99}, {96, 0xaa2395}, {100, 0xae2892}, {104, 0xb32c8e}, {108, 0xb7318a},
    {112, 0xbc3587}, {116, 0xc03a83}, {120, 0xc43e7f}, {124, 0xc8437b}, {128, 0xcc4778}, {131, 0xce4b75},
    {135, 0xd24f71}, {139, 0xd5546e}, {143, 0xd9586a}, {147, 0xdc5d67}, {151, 0xdf6263}, {155, 0xe26660},
    {159, 0xe56b5d}, {163, 0xe87059}, {167, 0xeb7556}, {171, 0xed7a52}, {175, 0xf07f4f}, {179, 0xf2844b},
    {183, 0xf48948}, {187, 0xf68f44}, {191, 0xf89441}, {195, 0xf99a3e}, {199, 0xfb9f3a}, {203, 0xfca537},
    {207, 0xfdab33}, {211, 0xfdb130}, {215, 0xfeb72d}, {219, 0xfebd2a}, {223, 0xfdc328}, {227, 0xfdca26},
    {231, 0xfcd025}, {235, 0xfbd724}, {239, 0xf9dd25}, {243, 0xf7e425}, {247, 0xf5eb27}, {251, 0xf2f227},
    {255, 0xf0f921}};

// magma: the published table, colour i of 256 at t = i / 255.
const Control kMagma[] = {
    {0, 0x000004}, {4, 0x020109}, {8, 0x030312}, {12, 0x06051a}, {16, 0x0a0822}, {20, 0x0e0b2b}, {24, 0x130d34},
    {28, 0x180f3d}, {32, 0x1d1147}, {36, 0x221150}, {40, 0x29115a}, {44, 0x2f1163}, {48, 0x36106b}, {52, 0x3d0f71},
    {56, 0x440f76}, {60, 0x4a1079}, {64, 0x51127c}, {68, 0x57157e}, {72, 0x5d177f}, {76, 0x641a80}, {80, 0x6a1c81},
    {84, 0x701f81}, {88, 0x762181}, {92, 0x7c2382}, {96, 0x832681}, {100, 0x892881}, {104, 0x902a81}, {108, 0x962c80},
    {112, 0x9c2e7f}, {116, 0xa3307e}, {120, 0xaa337d}, {124, 0xb0357b}, {128, 0xb73779}, {131, 0xbc3978},
    {135, 0xc23b75}, {139, 0xc83e73}, {143, 0xcf4070}, {147, 0xd5446d}, {151, 0xdb476a}, {155, 0xe04c67},
    {159, 0xe55064}, {163, 0xea5661}, {167, 0xee5b5e}, {171, 0xf2625d}, {175, 0xf4695c}, {179, 0xf7705c},
    {183, 0xf9785d}, {187, 0xfa7f5e}, {191, 0xfb8761}, {195, 0xfc8e64}, {199, 0xfd9668}, {203, 0xfe9d6c},
    {207, 0xfea571}, {211, 0xfeac76}, {215, 0xfeb47b}, {219, 0xfebb81}, {223, 0xfec287}, {227, 0xfeca8d},
    {231, 0xfed194}, {235, 0xfed89a}, {239, 0xfde0a1}, {243, 0xfde7a9}, {247, 0xfceeb0}, {251, 0xfcf6b8},
    {255, 0xfcfdbf}};

// inferno: the published table, colour i of 256 at t = i / 255.
const Control kInferno[] = {
    {0, 0x000004}, {4, 0x02010a}, {8, 0x040312}, {12, 0x07051b}, {16, 0x0b0724}, {20, 0x10092d}, {24, 0x150b37},
    {28, 0x1b0c41}, {32, 0x210c4a}, {36, 0x280b53}, {40, 0x2f0a5b}, {44, 0x360961}, {48, 0x3d0965}, {52, 0x440a68},
    {56, 0x4a0c6b}, {60, 0x510e6c}, {64, 0x57106e}, {68, 0x5d126e}, {72, 0x64156e}, {76, 0x6a176e}, {80, 0x71196e},
    {84, 0x771c6d}, {88, 0x7d1e6d}, {92, 0x84206b}, {96, 0x8a226a}, {100, 0x902568}, {104, 0x972766}, {108, 0x9d2964},
    {112, 0xa32c61}, {116, 0xa92e5e}, {120, 0xb0315b}, {124, 0xb63458}, {128, 0xbc3754}, {131, 0xc03a51},
    {135, 0xc63d4d}, {139, 0xcb4149}, {143, 0xd04545}, {147, 0xd54a41}, {151, 0xda4e3c}, {155, 0xdf5337},
    {159, 0xe35933}, {163, 0xe75e2e}, {167, 0xeb6429}, {171, 0xee6a24}, {175, 0xf1711f}, {179, 0xf37819},
    {183, 0xf67e14}, {187, 0xf8850f}, {191, 0xf98c0a}, {195, 0xfa9407}, {199, 0xfb9b06}, {203, 0xfca309},
    {207, 0xfcaa0f}, {211, 0xfcb216}, {215, 0xfbba1f}, {219, 0xfac228}, {223, 0xf9c932}, {227, 0xf7d13d},
    {231, 0xf5d949}, {235, 0xf4e156}, {239, 0xf2e865}, {243, 0xf1ef75}, {247, 0xf3f586}, {251, 0xf6fa96},
    {255, 0xfcffa4}};

// turbo: the published table (sRGB floats, rounded to 8 bits), colour i of 256 at t = i / 255.
const Control kTurbo[] = {
    {0, 0x30123b}, {4, 0x351e58}, {8, 0x392a73}, {12, 0x3d358b}, {16, 0x4040a2}, {20, 0x424bb5}, {24, 0x4456c7},
    {28, 0x4661d6}, {32, 0x466be3}, {36, 0x4776ee}, {40, 0x4680f6}, {44, 0x458afc}, {48, 0x4294ff}, {52, 0x3d9efe},
    {56, 0x37a8fa}, {60, 0x2fb2f4}, {64, 0x28bceb}, {68, 0x22c5e2}, {72, 0x1ccdd8}, {76, 0x19d5cd}, {80, 0x18ddc2},
    {84, 0x19e3b9}, {88, 0x1fe9af}, {92, 0x27eea4}, {96, 0x32f298}, {100, 0x3ff68a}, {104, 0x4ef97d}, {108, 0x5dfc6f},
    {112, 0x6dfe62}, {116, 0x7dff56}, {120, 0x8bff4b}, {124, 0x99fe42}, {128, 0xa4fc3c}, {131, 0xacfb38},
    {135, 0xb7f735}, {139, 0xc1f334}, {143, 0xcbed34}, {147, 0xd4e735}, {151, 0xdde037}, {155, 0xe5d938},
    {159, 0xecd13a}, {163, 0xf2c93a}, {167, 0xf7c13a}, {171, 0xfbb838}, {175, 0xfdae35}, {179, 0xfea431},
    {183, 0xfe992c}, {187, 0xfd8d27}, {191, 0xfb8122}, {195, 0xf9751d}, {199, 0xf56918}, {203, 0xf15d13},
    {207, 0xec530f}, {211, 0xe7490c}, {215, 0xe14109}, {219, 0xda3907}, {223, 0xd23105}, {227, 0xca2a04},
    {231, 0xc12302}, {235, 0xb71d02}, {239, 0xac1701}, {243, 0xa11201}, {247, 0x950d01}, {251, 0x880802},
    {255, 0x7a0403}};

// cividis: the authors' table sampled at t = i / 9 (even steps), with the
// published polynomial fit of that table at the midpoints from t = 2.5 / 9 on
// (below, where the fit strays, the map is nearly straight).
const Control kCividis[] = {{0, 0x00204d},  {2, 0x00336f},  {4, 0x39486b},  {5, 0x46526d},  {6, 0x575c6d},
                            {7, 0x66676f},  {8, 0x707173},  {9, 0x7f7c75},  {10, 0x8a8779}, {11, 0x979178},
                            {12, 0xa69d75}, {13, 0xb3a974}, {14, 0xc4b56c}, {15, 0xd5c164}, {16, 0xe4cf5b},
                            {17, 0xf5dc4d}, {18, 0xffea46}};

// Moreland's smooth cool-warm diverging map, his 33-point table at t = i / 32.
const Control kCoolWarm[] = {
    {0, 0x3b4cc0}, {1, 0x445acc}, {2, 0x4d68d7}, {3, 0x5775e1}, {4, 0x6282ea}, {5, 0x6c8ef1}, {6, 0x779af7},
    {7, 0x82a5fb}, {8, 0x8db0fe}, {9, 0x98b9ff}, {10, 0xa3c2ff}, {11, 0xaec9fd}, {12, 0xb8d0f9}, {13, 0xc2d5f4},
    {14, 0xccd9ee}, {15, 0xd5dbe6}, {16, 0xdddddd}, {17, 0xe5d8d1}, {18, 0xecd3c5}, {19, 0xf1ccb9}, {20, 0xf5c4ad},
    {21, 0xf7bba0}, {22, 0xf7b194}, {23, 0xf7a687}, {24, 0xf49a7b}, {25, 0xf18d6f}, {26, 0xec7f63}, {27, 0xe57058},
    {28, 0xde604d}, {29, 0xd55042}, {30, 0xcb3e38}, {31, 0xc0282f}, {32, 0xb40426}};

const Control kJet[] = {{0, 0x000080}, {1, 0x0000ff}, {3, 0x00ffff}, {5, 0xffff00}, {7, 0xff0000}, {8, 0x800000}};
const Control kRainbow[] = {{0, 0x0000ff}, {1, 0x00ffff}, {2, 0x00ff00}, {3, 0xffff00}, {4, 0xff0000}};
const Control kGrayscale[] = {{0, 0x000000}, {1, 0xffffff}};

struct NamedMap {
    const char* Name;
    const Control* Points;
    std::size_t Count;
    float Denominator;
};

template <std::size_t N>
constexpr NamedMap MakeMap(const char* name, const Control (&points)[N], float denominator)
{
    return NamedMap{name, points, N, denominator};
}

const NamedMap kNamedMaps[] = {
    MakeMap("viridis", kViridis, 255.0f), MakeMap("plasma", kPlasma, 255.0f),   MakeMap("magma", kMagma, 255.0f),
    MakeMap("inferno", kInferno, 255.0f), MakeMap("cividis", kCividis, 18.0f), MakeMap("turbo", kTurbo, 255.0f),
    MakeMap("cool-warm", kCoolWarm, 32.0f), MakeMap("jet", kJet, 8.0f),         MakeMap("rainbow", kRainbow, 4.0f),
    MakeMap("grayscale", kGrayscale, 1.0f),
};

// Lower case without '-', '_' and spaces.
std::string NormalizeName(const std::string& name)
{
    std::string key;
    for (char c : name) {
        if (c == '-' || c == '_' || c == ' ')
            continue;
        key.push_back(char(std::tolower(static_cast<unsigned char>(c))));
    }
    if (key == "gray" || key == "grey" || key == "greyscale")
        key = "grayscale";
    return key;
}

} // namespace

std::shared_ptr<ColorMapKeyword> ColorMapKeyword::Create(const std::string& name)
{
    const std::string key = NormalizeName(name);
    for (const NamedMap& map : kNamedMaps) {
        if (NormalizeName(map.Name) != key)
            continue;
        auto result = std::make_shared<ColorMapKeyword>(map.Name);
        result->m_Entries.reserve(map.Count);
        for (std::size_t i = 0; i < map.Count; ++i)
            result->m_Entries.push_back(ColorMapEntry{float(map.Points[i].Step) / map.Denominator, map.Points[i].Color});
        return result;
    }
    Logger::Instance().Waring("Color map is unknown!");
    return nullptr;
}

bool ColorMapKeyword::IsNamed(const std::string& name)
{
    const std::string key = NormalizeName(name);
    for (const NamedMap& map : kNamedMaps)
        if (NormalizeName(map.Name) == key)
            return true;
    return false;
}

const std::vector<std::string>& ColorMapKeyword::GetNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const NamedMap& map : kNamedMaps)
            list.emplace_back(map.Name);
        return list;
    }();
    return names;
}

bool ColorMapKeyword::AddEntry(float position, uint32_t color)
{
    if (!(position >= 0.0f && position <= 1.0f)) {
        Logger::Instance().Waring("Color map position is out of range!");
        return false;
    }
    if (color > 0xffffffu) {
        Logger::Instance().Waring("Color is out of range!");
        return false;
    }
    auto at = std::upper_bound(m_Entries.begin(), m_Entries.end(), position,
                               [](float p, const ColorMapEntry& e) { return p < e.Position; });
    m_Entries.insert(at, ColorMapEntry{position, color});
    return true;
}

glm::vec3 ColorMapKeyword::GetColor(float t) const
{
    if (m_Entries.empty())
        return glm::vec3(0.0f);
    if (!(t > 0.0f))
        t = 0.0f; // NaN too
    if (t > 1.0f)
        t = 1.0f;
    // First entry past t: the colour lies between it and the one before.
    auto after = std::upper_bound(m_Entries.begin(), m_Entries.end(), t,
                                  [](float p, const ColorMapEntry& e) { return p < e.Position; });
    if (after == m_Entries.begin())
        return Math::colorFromHex(after->Color);
    if (after == m_Entries.end())
        return Math::colorFromHex(m_Entries.back().Color);
    const ColorMapEntry& a = *(after - 1);
    const ColorMapEntry& b = *after;
    const float f = (t - a.Position) / (b.Position - a.Position); // b is strictly after a
    return glm::mix(Math::colorFromHex(a.Color), Math::colorFromHex(b.Color), f);
}

std::shared_ptr<ColorMapKeyword> ColorMapKeyword::Resample(uint32_t count) const
{
    if (count < 2) {
        Logger::Instance().Waring("Color map needs at least two entries!");
        return nullptr;
    }
    auto result = std::make_shared<ColorMapKeyword>(m_Name);
    result->m_Entries.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        const float t = float(i) / float(count - 1);
        const glm::vec3 c = glm::clamp(GetColor(t), 0.0f, 1.0f) * 255.0f + 0.5f;
        result->m_Entries.push_back(
            ColorMapEntry{t, (uint32_t(c.r) << 16) | (uint32_t(c.g) << 8) | uint32_t(c.b)});
    }
    return result;
}

} // namespace orvcore

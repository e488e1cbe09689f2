#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <orvkernel/plot/ColorLookupTable.h>
#include <orvkernel/plot/ColorMapKeyword.h>

#include "LogCapture.h"

using namespace orvcore;

namespace {

struct PublishedColors {
    const char* Name;
    glm::vec3 AtZero, AtHalf, AtOne;
    float Tolerance;
};

// Reference values from the maps' published tables (matplotlib's 256-colour
// float tables for viridis, plasma, magma and inferno, where t = 0.5 falls
// between colours 127 and 128; the turbo table; Moreland's cool-warm table;
// the cividis authors' table; the classic jet definition).
const PublishedColors kPublished[] = {
    {"viridis", {0.267004f, 0.004874f, 0.329415f}, {0.128148f, 0.565107f, 0.550892f}, {0.993248f, 0.906157f, 0.143936f}, 0.006f},
    {"plasma", {0.050383f, 0.029803f, 0.527975f}, {0.796470f, 0.277941f, 0.472549f}, {0.940015f, 0.975158f, 0.131326f}, 0.008f},
    {"magma", {0.001462f, 0.000466f, 0.013866f}, {0.712500f, 0.213000f, 0.477000f}, {0.987053f, 0.991438f, 0.749504f}, 0.008f},
    {"inferno", {0.001462f, 0.000466f, 0.013866f}, {0.732000f, 0.213000f, 0.331800f}, {0.988362f, 0.998364f, 0.644924f}, 0.008f},
    {"turbo", {0.18995f, 0.07176f, 0.23217f}, {0.638425f, 0.99097f, 0.236465f}, {0.47960f, 0.01583f, 0.01055f}, 0.006f},
    {"cividis", {0.0f, 0.1255f, 0.3020f}, {0.4930f, 0.4850f, 0.4640f}, {1.0f, 0.9176f, 0.2745f}, 0.015f},
    {"cool-warm", {0.2298057f, 0.298717966f, 0.753683153f}, {0.865395197f, 0.86541021f, 0.865395561f}, {0.705673158f, 0.01555616f, 0.150232812f}, 0.004f},
    {"jet", {0.0f, 0.0f, 0.5f}, {0.5f, 1.0f, 0.5f}, {0.5f, 0.0f, 0.0f}, 0.004f},
    {"grayscale", {0.0f, 0.0f, 0.0f}, {0.5f, 0.5f, 0.5f}, {1.0f, 1.0f, 1.0f}, 0.004f},
};

void ExpectNear(const glm::vec3& actual, const glm::vec3& expected, float tolerance, const std::string& what)
{
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(actual[c], expected[c], tolerance) << what << " component " << c;
}

} // namespace

TEST(ColorMapTest, NamedMapsMatchPublishedValues)
{
    for (const PublishedColors& p : kPublished) {
        auto map = ColorMapKeyword::Create(p.Name);
        ASSERT_TRUE(map) << p.Name;
        EXPECT_EQ(map->GetName(), p.Name);
        ExpectNear(map->GetColor(0.0f), p.AtZero, p.Tolerance, std::string(p.Name) + " at 0");
        ExpectNear(map->GetColor(0.5f), p.AtHalf, p.Tolerance, std::string(p.Name) + " at 0.5");
        ExpectNear(map->GetColor(1.0f), p.AtOne, p.Tolerance, std::string(p.Name) + " at 1");

        // The table over a value range gives the same colours at the same
        // relative places, and its image holds the maximum in the top row.
        ColorLookupTable table;
        ASSERT_TRUE(table.SetColorMap(map));
        ASSERT_TRUE(table.SetRange(-4.0f, 6.0f));
        ExpectNear(table.GetColor(-4.0f), p.AtZero, p.Tolerance, std::string(p.Name) + " table minimum");
        ExpectNear(table.GetColor(1.0f), p.AtHalf, p.Tolerance, std::string(p.Name) + " table middle");
        ExpectNear(table.GetColor(6.0f), p.AtOne, p.Tolerance, std::string(p.Name) + " table maximum");
        ImageTexture2D image;
        ASSERT_TRUE(table.CreateImage(image, 2));
        ASSERT_EQ(image.GetWidth(), 2u);
        ASSERT_EQ(image.GetHeight(), table.GetSize());
        const auto& px = image.GetPixels();
        const glm::vec3 top(px[4], px[5], px[6]);
        const std::size_t last = (std::size_t(image.GetHeight()) - 1) * 2 * 4;
        const glm::vec3 bottom(px[last], px[last + 1], px[last + 2]);
        ExpectNear(top / 255.0f, p.AtOne, p.Tolerance + 0.002f, std::string(p.Name) + " image top");
        ExpectNear(bottom / 255.0f, p.AtZero, p.Tolerance + 0.002f, std::string(p.Name) + " image bottom");
        EXPECT_EQ(px[7], 255);
    }
}

TEST(ColorMapTest, NamesAreMatchedLoosely)
{
    struct Case {
        const char* Given;
        const char* Canonical;
    } cases[] = {{"Viridis", "viridis"}, {"coolwarm", "cool-warm"}, {"Cool_Warm", "cool-warm"},
                 {"gray", "grayscale"}, {"GREY", "grayscale"},     {"greyscale", "grayscale"}};
    for (const Case& c : cases) {
        auto map = ColorMapKeyword::Create(c.Given);
        ASSERT_TRUE(map) << c.Given;
        EXPECT_EQ(map->GetName(), c.Canonical);
    }
    for (const std::string& name : ColorMapKeyword::GetNames()) {
        auto map = ColorMapKeyword::Create(name);
        ASSERT_TRUE(map) << name;
        ASSERT_GE(map->GetCount(), 2u);
        EXPECT_EQ(map->GetEntry(0).Position, 0.0f) << name;
        EXPECT_EQ(map->GetEntry(map->GetCount() - 1).Position, 1.0f) << name;
        for (std::size_t i = 1; i < map->GetCount(); ++i)
            EXPECT_LT(map->GetEntry(i - 1).Position, map->GetEntry(i).Position) << name << " entry " << i;
    }
    orvtest::LogCapture log;
    EXPECT_FALSE(ColorMapKeyword::Create("nonesuch"));
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Color map is unknown!"});
}

TEST(ColorMapTest, EntriesAreCheckedAndKeptInOrder)
{
    ColorMapKeyword map("steps");
    orvtest::LogCapture log;
    const float nan = std::nanf("");
    EXPECT_FALSE(map.AddEntry(-0.1f, 0));
    EXPECT_FALSE(map.AddEntry(1.5f, 0));
    EXPECT_FALSE(map.AddEntry(nan, 0));
    EXPECT_FALSE(map.AddEntry(0.5f, 0x1000000u));
    EXPECT_EQ(log.warnings.size(), 4u);
    EXPECT_EQ(map.GetCount(), 0u);
    EXPECT_EQ(map.GetColor(0.3f), glm::vec3(0.0f)); // empty map: black

    // A hard step: two entries at 0.5, inserted out of order.
    EXPECT_TRUE(map.AddEntry(1.0f, 0x0000ff));
    EXPECT_TRUE(map.AddEntry(0.5f, 0xff0000));
    EXPECT_TRUE(map.AddEntry(0.0f, 0xff0000));
    EXPECT_TRUE(map.AddEntry(0.5f, 0x00ff00));
    ExpectNear(map.GetColor(0.25f), {1, 0, 0}, 1e-6f, "below the step");
    ExpectNear(map.GetColor(0.5f), {0, 1, 0}, 1e-6f, "at the step");
    ExpectNear(map.GetColor(0.75f), {0, 0.5f, 0.5f}, 1e-6f, "above the step");
    ExpectNear(map.GetColor(nan), {1, 0, 0}, 1e-6f, "NaN");
    ExpectNear(map.GetColor(7.0f), {0, 0, 1}, 1e-6f, "past the end");

    auto legend = ColorMapKeyword::Create("jet")->Resample(5);
    ASSERT_TRUE(legend);
    ASSERT_EQ(legend->GetCount(), 5u);
    EXPECT_EQ(legend->GetEntry(2).Position, 0.5f);
    EXPECT_EQ(legend->GetEntry(2).Color, 0x80ff80u);
    EXPECT_FALSE(legend->Resample(1));
}

TEST(ColorMapTest, LookupTableRefusesBadInput)
{
    ColorLookupTable table;
    EXPECT_EQ(table.GetColorMap()->GetName(), "rainbow");
    const glm::vec3 before = table.GetColor(0.25f);
    orvtest::LogCapture log;
    EXPECT_FALSE(table.SetColorMap(nullptr));
    EXPECT_FALSE(table.SetColorMap(std::make_shared<ColorMapKeyword>("empty")));
    EXPECT_FALSE(table.SetRange(2.0f, 1.0f));
    EXPECT_FALSE(table.SetRange(0.0f, INFINITY));
    EXPECT_FALSE(table.SetSize(1));
    EXPECT_FALSE(table.SetSize(ColorLookupTable::kMaxSize + 1));
    ImageTexture2D image;
    EXPECT_FALSE(table.CreateImage(image, 0));
    EXPECT_EQ(log.warnings,
              (std::vector<std::string>{"Color map is null!", "Color map is empty!", "Value range is not valid!",
                                        "Value range is not valid!", "Table size is out of range!",
                                        "Table size is out of range!", "Image size is invalid!"}));
    EXPECT_EQ(table.GetColor(0.25f), before);
    EXPECT_TRUE(image.IsEmpty());

    // A range of one point reads every value as its minimum; NaN too.
    ASSERT_TRUE(table.SetRange(3.0f, 3.0f));
    EXPECT_EQ(table.GetColor(100.0f), table.GetColor(3.0f));
    EXPECT_EQ(table.GetColor(std::nanf("")), table.GetTableColor(0.0f));
    EXPECT_FLOAT_EQ(table.GetValue(0.5f), 3.0f);
}

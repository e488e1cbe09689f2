#include <orvcommon/ElementId.h>
#include <orvcommon/TypedArray.h>
#include <orvcommon/ValueRange.h>

#include <cmath>
#include <unordered_set>

#include <gtest/gtest.h>

#include "LogCapture.h"

using namespace orvcore;

TEST(TypedBuffer, WritesViewsAndRangeChecks)
{
    Float32Buffer buffer(6);
    EXPECT_EQ(buffer.GetByteSize(), 24u);
    EXPECT_TRUE(buffer.SetValue(3, glm::vec3(1, 2, 3)));
    EXPECT_EQ(buffer.Get(5), 3.0f);
    buffer.Get(0) = 9.0f; // writable reference
    EXPECT_EQ(buffer.GetVec3(0), glm::vec3(9, 0, 0));

    // Views share the storage.
    Float32Array view(buffer);
    EXPECT_TRUE(view.SetVec3(3, glm::vec3(4, 5, 6)));
    EXPECT_EQ(buffer.GetVec3(3), glm::vec3(4, 5, 6));
    Vec3fArray points(reinterpret_cast<glm::vec3*>(buffer.GetData()), 2);
    points[0] = glm::vec3(1.0f);
    EXPECT_EQ(buffer.Get(2), 1.0f);

    orvtest::LogCapture log;
    EXPECT_FALSE(buffer.SetValue(4, glm::vec3(1.0f))); // would run past the end
    EXPECT_FALSE(buffer.SetValue(6, 1.0f));
    EXPECT_EQ(buffer.GetVec3(5), glm::vec3(0.0f));
    EXPECT_FALSE(view.SetVec3(4, glm::vec3(0.0f)));
    EXPECT_EQ(buffer.Get(5), 6.0f); // untouched
    EXPECT_EQ(log.warnings, std::vector<std::string>(4, "Index is out of range!"));

    Float32Buffer grown;
    grown.Reserve(6);
    grown.Push(glm::vec3(1, 2, 3));
    grown.Push(4.0f);
    EXPECT_EQ(grown.GetCount(), 4u);
    Uint32Buffer indices{0, 1, 2};
    EXPECT_TRUE(indices.SetValue(2, 7u));
    EXPECT_EQ(indices[2], 7u);
}

TEST(LargePageAllocator, AlignsBySizeAndGrowsSafely)
{
    LargeVector<uint32_t, 64> v(16, 7u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(v.data()) % 64, 0u);
    // Growing across the large-block threshold moves the values into a
    // huge-page aligned block; the sanitizers check the sized frees.
    v.resize(kLargeBlockBytes / sizeof(uint32_t) + 3, 9u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(v.data()) % (std::size_t(2) << 20), 0u);
    EXPECT_EQ(v[15], 7u);
    EXPECT_EQ(v.back(), 9u);
    v.resize(10);
    v.shrink_to_fit();
    EXPECT_EQ(reinterpret_cast<uintptr_t>(v.data()) % 64, 0u);
    EXPECT_EQ(v[9], 7u);
    // Without a raised alignment, small blocks are ordinary heap blocks.
    LargeVector<uint16_t> small(3, 1u);
    small.push_back(2u);
    EXPECT_EQ(small.back(), 2u);
}

TEST(ValueRange, InclusiveBoundsAndRejection)
{
    ValueRange unbounded(2.5);
    EXPECT_TRUE(unbounded.SetValue(-1e300));
    EXPECT_FALSE(unbounded.SetValue(NAN));

    ValueRange r(0.5, -1.0, 1.0);
    EXPECT_TRUE(r.SetValue(1.0)); // inclusive
    EXPECT_TRUE(r.SetValue(-1.0));
    EXPECT_FALSE(r.SetValue(1.0000001));
    EXPECT_FALSE(r.SetValue(NAN));
    EXPECT_EQ(double(r), -1.0); // old value kept

    orvtest::LogCapture log;
    ValueRange swapped(5.0, 3.0, -3.0);
    EXPECT_EQ(swapped.GetMinimum(), -3.0);
    EXPECT_EQ(swapped.GetMaximum(), 3.0);
    EXPECT_EQ(swapped.GetValue(), 3.0); // clamped
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Range bounds are reversed!", "Value is out of range!"}));

    EXPECT_FALSE(ElementId().IsValid());
    EXPECT_EQ((std::unordered_set<ElementId>{ElementId(1), ElementId(2), ElementId(1)}).size(), 2u);
}

TEST(Logger, LevelsAndSinks)
{
    std::vector<std::pair<EnumLogLevel, std::string>> records;
    Logger::Instance().SetSink([&](EnumLogLevel l, const std::string& t) { records.emplace_back(l, t); });
    Logger::Instance().Waring("Node is null!");
    Logger::Instance().Error("bad");
    Logger::Instance().Debug("dropped at the default level");
    Logger::Instance().SetLevel(EnumLogLevel::Error);
    Logger::Instance().Waring("dropped");
    Logger::Instance().SetLevel(EnumLogLevel::Info);
    Logger::Instance().SetSink(nullptr); // silenced
    Logger::Instance().Waring("nobody hears this");
    Logger::Instance().ResetSink();
    EXPECT_EQ(records, (std::vector<std::pair<EnumLogLevel, std::string>>{{EnumLogLevel::Warning, "Node is null!"},
                                                                         {EnumLogLevel::Error, "bad"}}));
}

// The attribute update log against a per-item record of every write: the
// ranges a copy receives cover everything written since it was taken, and
// in-order writers get exactly that.
#include <orvkernel/geometry/BufferAttribute.h>

#include <gtest/gtest.h>

#include <vector>

#include "LogCapture.h"

using namespace orvcore;

namespace {

struct Writer {
    const char* name;
    bool inOrder;       // ring-buffer order from a random start
    std::size_t writes; // per step
};

} // namespace

TEST(AttributeUpdateLog, CopiesReceiveEveryItemWrittenSinceTheirVersion)
{
    constexpr std::size_t kItems = 97;
    for (const Writer w : {Writer{"ring", true, 13}, Writer{"ring, long steps", true, 150},
                           Writer{"scattered", false, 3}, Writer{"scattered, many", false, 40}}) {
        SCOPED_TRACE(w.name);
        std::vector<float> zeros(kItems * 3, 0.0f);
        BufferAttribute attribute(zeros.data(), zeros.size(), 3);
        std::vector<uint32_t> writtenAt(kItems, 0); // version of each item's last write
        uint32_t seed = 12345;
        const auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
        std::size_t cursor = next() % kItems;
        std::vector<ItemRange> items;
        std::vector<ByteRange> bytes;
        for (int step = 0; step < 40; ++step) {
            for (std::size_t n = 0; n < w.writes; ++n) {
                const std::size_t k = w.inOrder ? cursor++ % kItems : next() % kItems;
                attribute.SetVec3(k, glm::vec3(float(step)));
                writtenAt[k] = attribute.GetVersion();
            }
            // Copies taken after every earlier step, and one taken just now.
            for (uint32_t since = 0; since <= attribute.GetVersion(); since += 1 + next() % 37) {
                ASSERT_TRUE(attribute.GetChangedByteRanges(since, items, bytes));
                std::vector<bool> sent(kItems, false);
                std::size_t sentItems = 0;
                for (std::size_t r = 0; r < bytes.size(); ++r) {
                    ASSERT_EQ(bytes[r].offset % 12, 0u);
                    ASSERT_EQ(bytes[r].size % 12, 0u);
                    if (r > 0) { // ordered, apart
                        ASSERT_GT(bytes[r].offset, bytes[r - 1].offset + bytes[r - 1].size);
                    }
                    for (std::size_t k = bytes[r].offset / 12; k < (bytes[r].offset + bytes[r].size) / 12; ++k)
                        sent[k] = true;
                    sentItems += bytes[r].size / 12;
                }
                std::size_t changed = 0;
                for (std::size_t k = 0; k < kItems; ++k) {
                    const bool dirty = writtenAt[k] > since;
                    changed += dirty;
                    ASSERT_TRUE(!dirty || sent[k]) << "item " << k << " since " << since;
                }
                // An in-order writer costs what it wrote, at most two ranges
                // for the part written since the copy (more only once that
                // part spans several laps).
                if (w.inOrder && attribute.GetVersion() - since < kItems) {
                    EXPECT_EQ(sentItems, changed) << since;
                    EXPECT_LE(bytes.size(), 2u);
                }
            }
        }
    }
}

TEST(AttributeUpdateLog, WritesWithoutARangeSendOlderCopiesWhole)
{
    std::vector<float> values(30, 1.0f);
    BufferAttribute attribute(values.data(), values.size(), 3);
    std::vector<ItemRange> items;
    std::vector<ByteRange> bytes;
    attribute.SetVec3(4, glm::vec3(2.0f));
    const uint32_t afterRanged = attribute.GetVersion();
    attribute.GetFloatArray()[0] = 5.0f; // a view write says nothing of where
    attribute.RaiseVersion();
    EXPECT_FALSE(attribute.GetChangedByteRanges(afterRanged, items, bytes));
    orvtest::LogCapture log;
    attribute.RaiseVersion(8, 5); // clipped to the last two items, with a warning
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Index is out of range!"});
    ASSERT_TRUE(attribute.GetChangedByteRanges(afterRanged + 1, items, bytes));
    ASSERT_EQ(bytes.size(), 1u);
    EXPECT_EQ(bytes[0].offset, 8u * 12u);
    EXPECT_EQ(bytes[0].size, 2u * 12u);
    EXPECT_FALSE(attribute.Clone()->GetChangedByteRanges(afterRanged + 1, items, bytes));
}

// Interpolants, keyframe tracks and property mixers.

#include <gtest/gtest.h>

#include <orvkernel/animation/LinearInterpolant.h>
#include <orvcore/animation/NumberKeyframeTrack.h>
#include <orvcore/animation/NumberPropertyMixer.h>

#include "LogCapture.h"

using namespace orvcore;
using Texts = std::vector<std::string>;

namespace {

std::shared_ptr<Float32Buffer> Buffer(std::initializer_list<float> values)
{
    return std::make_shared<Float32Buffer>(values);
}

std::vector<float> Values(const float* v, unsigned int n) { return std::vector<float>(v, v + n); }

} // namespace

TEST(Interpolant, KeysBetweenBeforeAfterAndJumps)
{
    // Keys at 0, 1 and 3 of (x, 10x): 0 -> 2 -> 6.
    LinearInterpolant interpolant(Buffer({0, 1, 3}), Buffer({0, 0, 2, 20, 6, 60}), 2, nullptr);
    struct Case {
        float t;
        float x;
        unsigned int interval; // index of the key that ends the interval
    };
    // Forward first (one step at a time), then jumps back and forth.
    const Case cases[] = {{-1.0f, 0, 0}, {0.0f, 0, 1},  {0.5f, 1, 1},  {1.0f, 2, 2},   {2.0f, 4, 2},
                          {3.0f, 6, 3},  {9.0f, 6, 3},  {0.25f, 0.5f, 1}, {2.5f, 5, 2}, {-5.0f, 0, 0},
                          {1.5f, 3, 2}};
    for (const Case& c : cases) {
        const float* v = interpolant.Evaluate(c.t);
        ASSERT_NE(v, nullptr);
        EXPECT_FLOAT_EQ(v[0], c.x) << "t = " << c.t;
        EXPECT_FLOAT_EQ(v[1], 10.0f * c.x) << "t = " << c.t;
        EXPECT_EQ(interpolant.GetCachedIndex(), c.interval) << "t = " << c.t;
    }
    // The result lands in the given buffer.
    auto result = Buffer({7, 7, 7});
    LinearInterpolant into(Buffer({0, 1}), Buffer({0, 0, 2, 4}), 2, result);
    into.Evaluate(0.5f);
    EXPECT_EQ(Values(result->GetData(), 3), (std::vector<float>{1, 2, 7}));
}

TEST(Interpolant, EqualTimesStepAndShortBuffersAreSafe)
{
    // A step at 1: 0 until 1, then 5.
    LinearInterpolant step(Buffer({0, 1, 1, 2}), Buffer({0, 0, 5, 5}), 1, nullptr);
    EXPECT_FLOAT_EQ(step.Evaluate(0.999f)[0], 0.0f);
    EXPECT_FLOAT_EQ(step.Evaluate(1.0f)[0], 5.0f);
    EXPECT_FLOAT_EQ(step.Evaluate(0.5f)[0], 0.0f);

    // Keys edited in place count once the interpolant reads its buffers
    // again.
    step.GetValues()->Get(3) = 9.0f;
    step.Refresh();
    EXPECT_FLOAT_EQ(step.Evaluate(1.5f)[0], 7.0f);
    // Times reversed by a negative scale still give some key's value.
    LinearInterpolant reversed(Buffer({0, -1, -2}), Buffer({1, 2, 3}), 1, nullptr);
    for (float t : {-3.0f, -1.5f, -0.5f, 0.5f})
        EXPECT_GE(reversed.Evaluate(t)[0], 1.0f);

    // Only whole keys count: 3 times but values for 2 keys of 2.
    LinearInterpolant partial(Buffer({0, 1, 2}), Buffer({0, 0, 10, 10, 99}), 2, nullptr);
    EXPECT_EQ(partial.GetKeyCount(), 2u);
    EXPECT_EQ(Values(partial.Evaluate(5.0f), 2), (std::vector<float>{10, 10}));
    // A result buffer too small gets nothing; no keys leave the result alone.
    LinearInterpolant small(Buffer({0}), Buffer({1, 2, 3}), 3, Buffer({0}));
    EXPECT_EQ(small.Evaluate(0.0f), nullptr);
    LinearInterpolant empty(Buffer({}), Buffer({}), 2, nullptr);
    EXPECT_EQ(Values(empty.Evaluate(1.0f), 2), (std::vector<float>{0, 0}));
}

TEST(KeyframeTrack, ValueSizeScaleShiftAndTypeNames)
{
    NumberKeyframeTrack track("position", Buffer({0, 1, 2, 3}), Buffer({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}),
                              INTERPOLATION_DISCRETE);
    EXPECT_EQ(track.GetValueSize(), 3u);
    track.GetValues()->Push(12.0f);
    EXPECT_EQ(track.GetValueSize(), 3u); // 13 values: the remainder is dropped

    const std::vector<float> before = Values(track.GetTimes()->GetData(), 4);
    track.Scale(0.0f);
    track.Scale(-0.0f);
    track.Shift(0.0f);
    EXPECT_EQ(Values(track.GetTimes()->GetData(), 4), before);
    track.Scale(2.0f);
    track.Shift(0.5f);
    EXPECT_EQ(Values(track.GetTimes()->GetData(), 4), (std::vector<float>{0.5f, 2.5f, 4.5f, 6.5f}));
    track.Scale(-1.0f);
    EXPECT_EQ(Values(track.GetTimes()->GetData(), 4), (std::vector<float>{-0.5f, -2.5f, -4.5f, -6.5f}));

    EXPECT_EQ(NumberKeyframeTrack().GetValueTypeName(), "number");
    EXPECT_EQ(track.GetValueTypeName(), "");
    KeyframeTrack* base = &track;
    EXPECT_EQ(NumberKeyframeTrack::Cast(base), &track);
    KeyframeTrack plain;
    EXPECT_EQ(NumberKeyframeTrack::Cast(&plain), nullptr);
    EXPECT_EQ(plain.GetValueSize(), 0u);
    EXPECT_EQ(plain.CreateInterpolant(nullptr), nullptr);
}

TEST(KeyframeTrack, EveryModeInterpolatesLinearly)
{
    for (auto mode : {INTERPOLATION_LINEAR, INTERPOLATION_DISCRETE, INTERPOLATION_SMOOTH}) {
        KeyframeTrack track("x", Buffer({0, 2}), Buffer({0, 4}), mode);
        auto interpolant = track.CreateInterpolant(nullptr);
        ASSERT_NE(LinearInterpolant::Cast(interpolant.get()), nullptr);
        EXPECT_FLOAT_EQ(interpolant->Evaluate(0.5f)[0], 1.0f);
    }
}

TEST(PropertyMixer, BufferRegionsLerpsAndCounters)
{
    auto mixer = PropertyMixer::Create("quaternion", std::make_shared<PropertyBinding>(), 4);
    auto* number = NumberPropertyMixer::Cast(mixer.get());
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(number->GetBuffer()->GetCount(), 20u);
    EXPECT_EQ(std::make_tuple(mixer->GetUseCount(), mixer->GetReferenceCount(), mixer->GetCacheIndex(),
                              mixer->GetCumulativeWeight(), mixer->GetCumulativeWeightAdditive()),
              std::make_tuple(0u, 0u, 0u, 0.0f, 0.0f));

    NumberPropertyMixer three(nullptr, 3);
    float* b = three.GetData();
    for (int i = 0; i < 15; ++i)
        b[i] = static_cast<float>(i + 1);
    three.SetAdditiveIdentity();
    EXPECT_EQ(Values(b, 15), (std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 0}));

    three.Lerp(0, 9, 0.0f, 3); // region 0 unchanged
    EXPECT_EQ(Values(b, 3), (std::vector<float>{1, 2, 3}));
    three.Lerp(0, 9, 0.25f, 3); // 1 * 0.75 + 10 * 0.25
    EXPECT_EQ(Values(b, 3), (std::vector<float>{3.25f, 4.25f, 5.25f}));
    three.Lerp(0, 9, 1.0f, 3);
    EXPECT_EQ(Values(b, 3), (std::vector<float>{10, 11, 12}));
    three.LerpAdditive(3, 0, 2.0f, 3); // 4 + 10 * 2, ...
    EXPECT_EQ(Values(b + 3, 3), (std::vector<float>{24, 27, 30}));

    orvtest::LogCapture log;
    three.Lerp(13, 0, 0.5f, 3); // would run past the 15 floats
    three.LerpAdditive(0, 0xffffffffu, 1.0f, 2);
    EXPECT_EQ(log.warnings, Texts(2, "Index is out of range!"));
    EXPECT_EQ(Values(b + 12, 3), (std::vector<float>{0, 0, 0}));
}

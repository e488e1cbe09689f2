// Keyframe playback and self-timed node clips over 10,000 nodes.
//
// BM_MixerFrame: every node is driven by a clip of its own with three tracks
// (position, quaternion, scale; 100 keys each); a frame is one mixer update
// with its write-back and the world update of the tree. Reported per track,
// with the heap allocations of a frame after the first (counted by the
// program's replaced global operator new, see AllocationCount.h).
//
// BM_RigidPlay: one RigidAnimation of 5,000 move and 5,000 rotate clips, one
// per node, stepped on an explicit timeline. Reported per clip.
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include <orvcommon/Logger.h>

#include <orvcore/animation/AnimationMixer.h>
#include <orvcore/animation/MoveAnimationClip.h>
#include <orvcore/animation/NumberKeyframeTrack.h>
#include <orvcore/animation/RigidAnimation.h>
#include <orvcore/animation/RotateAnimationClip.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>

#include "AllocationCount.h"

using namespace orvcore;

namespace {

constexpr int kNodes = 10000;
constexpr int kKeys = 100;
constexpr float kKeyStep = 0.1f;

std::shared_ptr<GroupSceneNode> Nodes(std::vector<std::shared_ptr<SceneNode>>& nodes)
{
    auto root = std::make_shared<GroupSceneNode>();
    for (int i = 0; i < kNodes; ++i) {
        auto leaf = std::make_shared<GeneralSceneNode>();
        leaf->SetBoundingBox(AxisAlignedBox(glm::vec3(-0.5f), glm::vec3(0.5f)));
        leaf->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(float(i % 100), float(i / 100), 0.0f)));
        root->AddNode(leaf);
        nodes.push_back(leaf);
    }
    root->UpdateTransform(glm::mat4(1.0f));
    return root;
}

std::shared_ptr<KeyframeTrack> Track(const std::string& path, const std::vector<float>& values)
{
    auto times = std::make_shared<Float32Buffer>(kKeys);
    for (int k = 0; k < kKeys; ++k)
        times->Get(k) = float(k) * kKeyStep;
    return std::make_shared<NumberKeyframeTrack>(path, times,
                                                 std::make_shared<Float32Buffer>(values.data(), values.size()),
                                                 INTERPOLATION_LINEAR);
}

void BM_MixerFrame(benchmark::State& state)
{
    Logger::Instance().SetLevel(EnumLogLevel::Error); // binding's per-track notices
    std::vector<std::shared_ptr<SceneNode>> nodes;
    auto root = Nodes(nodes);
    AnimationMixer mixer(nullptr);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    for (int i = 0; i < kNodes; ++i) {
        const std::string name = "n" + std::to_string(i);
        mixer.AddNamedNode(name, nodes[i]);
        std::vector<float> position, quaternion, scale;
        glm::quat previous(1.0f, 0.0f, 0.0f, 0.0f);
        for (int k = 0; k < kKeys; ++k) {
            position.insert(position.end(),
                            {float(i % 100) + unit(random), float(i / 100) + unit(random), unit(random)});
            glm::quat q = glm::normalize(glm::quat(1.0f + unit(random), unit(random), unit(random), unit(random)));
            if (glm::dot(q, previous) < 0.0f)
                q = -q; // keys on one side, as an exporter writes them
            previous = q;
            quaternion.insert(quaternion.end(), {q.x, q.y, q.z, q.w});
            const float s = 1.0f + 0.5f * unit(random);
            scale.insert(scale.end(), {s, s, s});
        }
        auto clip = std::make_shared<AnimationClip>();
        clip->AddTrack(Track(name + ".position", position));
        clip->AddTrack(Track(name + ".quaternion", quaternion));
        clip->AddTrack(Track(name + ".scale", scale));
        mixer.ActivateAction(mixer.ClipAction(clip));
    }
    Logger::Instance().SetLevel(EnumLogLevel::Info);

    const float frame = 1.0f / 60.0f;
    const glm::mat4 identity(1.0f);
    const auto runFrame = [&] {
        mixer.Update(frame);
        root->UpdateTransform(identity);
        benchmark::DoNotOptimize(root->GetWorldBBox());
    };
    runFrame(); // the first frame
    for (auto _ : state)
        runFrame();
    // Allocations counted over frames of their own, outside the timing loop
    // (whose bookkeeping allocates too).
    constexpr int kCountedFrames = 100;
    const long before = AllocationCount();
    for (int i = 0; i < kCountedFrames; ++i)
        runFrame();
    const long allocations = AllocationCount() - before;
    const double tracks = 3.0 * kNodes;
    state.counters["time_per_track"] =
        benchmark::Counter(tracks, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["allocs_per_frame"] = double(allocations) / kCountedFrames;
    state.SetItemsProcessed(state.iterations() * int64_t(tracks));
}

void BM_RigidPlay(benchmark::State& state)
{
    std::vector<std::shared_ptr<SceneNode>> nodes;
    auto root = Nodes(nodes);
    RigidAnimation animation;
    for (int i = 0; i < kNodes; ++i) {
        // Long clips with staggered starts, so that every one plays.
        const float start = 0.001f * float(i % 100);
        if (i % 2 == 0)
            animation.Add(std::make_shared<MoveAnimationClip>(nodes[i], glm::vec3(0, 0, 10), start, 1.0e6f));
        else
            animation.Add(std::make_shared<RotateAnimationClip>(nodes[i], glm::vec3(0, 0, 1), 6.28f, start, 1.0e6f));
    }
    double t = 0.0;
    animation.PlayAt(t);
    for (auto _ : state) {
        t += 1.0 / 60.0;
        benchmark::DoNotOptimize(animation.PlayAt(t));
    }
    state.counters["time_per_clip"] =
        benchmark::Counter(double(kNodes), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetItemsProcessed(state.iterations() * kNodes);
}

} // namespace

BENCHMARK(BM_MixerFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RigidPlay)->Unit(benchmark::kMicrosecond);

// Ring-buffer nodes of streamed points and segments: slots and markers,
// boxes, clones, refusals, the bytes a frame uploads after a few writes, and
// picking on the live data.
#include <orvcore/pick/Raycaster.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/ParticleSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SegmentsSceneNode.h>

#include <gtest/gtest.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>

#include "LogCapture.h"
#include "RecordingDevice.h"

using namespace orvcore;

namespace {

constexpr std::size_t kVec3Bytes = 3 * sizeof(float);

glm::vec3 Spot(uint32_t i) { return glm::vec3(float(i % 7) - 3.0f, float(i / 7 % 5) * 1.5f, float(i % 3)); }

} // namespace

TEST(ParticleSceneNode, IndicesWrapModuloTheCapacityAndSetTheMarker)
{
    struct Case {
        uint32_t capacity, index;
    };
    for (const Case c : {Case{4, 0}, Case{4, 2}, Case{4, 3}, Case{4, 4}, Case{4, 5}, Case{7, 10}, Case{1, 9},
                         Case{5, 0xFFFFFFFFu}}) {
        SCOPED_TRACE(std::to_string(c.capacity) + " <- " + std::to_string(c.index));
        ParticleSceneNode node(c.capacity, glm::vec3(1.0f), 3.0f);
        const glm::vec3 p(c.index + 0.5f, -2.0f, 7.0f);
        node.SetPosition(c.index, p);
        node.SetColor(c.index, glm::vec3(0.25f, 0.5f, 0.75f));
        const uint32_t slot = c.index % c.capacity;
        for (uint32_t k = 0; k < c.capacity; ++k) {
            EXPECT_EQ(node.GetPosition(k), k == slot ? p : glm::vec3(0.0f)) << k;
            EXPECT_EQ(node.GetColor(k), k == slot ? glm::vec3(0.25f, 0.5f, 0.75f) : glm::vec3(1.0f)) << k;
        }
        EXPECT_EQ(node.GetPosition(slot + 3 * c.capacity), p); // reads wrap as well
        EXPECT_EQ(node.GetPrimitive()->GetLastWritten(), c.index < c.capacity ? c.index : 0u);
    }
}

TEST(SegmentsSceneNode, SegmentKUsesVertices2kAnd2kPlusOne)
{
    SegmentsSceneNode node(3, glm::vec3(0.5f), 0);
    EXPECT_EQ(node.GetMaterial()->LineWidth, 1); // width 0 draws one pixel wide
    EXPECT_EQ(node.GetMaterial()->GetName(), "point-material");
    node.SetPositions(4, glm::vec3(1, 2, 3), glm::vec3(4, 5, 6)); // slot 1
    node.SetColors(7, glm::vec3(1, 0, 0), glm::vec3(0, 1, 0));    // slot 1 too
    const auto& positions = node.GetPrimitive()->GetGeometry()->GetPositions();
    ASSERT_EQ(positions->GetCount(), 6u);
    for (std::size_t v = 0; v < 6; ++v) {
        const glm::vec3 expected = v == 2 ? glm::vec3(1, 2, 3) : v == 3 ? glm::vec3(4, 5, 6) : glm::vec3(0.0f);
        EXPECT_EQ(positions->GetVec3(v), expected) << v;
    }
    EXPECT_EQ(node.GetStartColor(1), glm::vec3(1, 0, 0));
    EXPECT_EQ(node.GetEndColor(1), glm::vec3(0, 1, 0));
    EXPECT_EQ(node.GetStartColor(0), glm::vec3(0.5f));
    EXPECT_EQ(SegmentsSceneNode(2, glm::vec3(1.0f), 5).GetMaterial()->LineWidth, 5);
}

TEST(StreamNodes, BoxFollowsTheDataOnlyAfterUpdateBoundingBox)
{
    auto particles = std::make_shared<ParticleSceneNode>(8, glm::vec3(1.0f), 2.0f);
    auto segments = std::make_shared<SegmentsSceneNode>(8, glm::vec3(1.0f), 1);
    auto scene = std::make_shared<Scene>();
    scene->AddNode(particles);
    scene->AddNode(segments);
    scene->UpdateWorld();
    const AxisAlignedBox before = particles->GetWorldBBox();

    glm::vec3 lo(0.0f), hi(0.0f); // unwritten slots stay at the origin and count
    for (uint32_t i = 0; i < 20; ++i) {
        const glm::vec3 p = Spot(i) * 3.0f + glm::vec3(10.0f);
        particles->SetPosition(i, p);
        segments->SetPositions(i, p, -p);
        if (i >= 12) { // the last eight writes are what the buffers hold
            lo = glm::min(lo, glm::min(p, -p));
            hi = glm::max(hi, glm::max(p, -p));
        }
    }
    scene->UpdateWorld();
    EXPECT_EQ(particles->GetWorldBBox().getMinimum(), before.getMinimum());
    EXPECT_EQ(particles->GetWorldBBox().getMaximum(), before.getMaximum());

    particles->UpdateBoundingBox();
    segments->UpdateBoundingBox();
    scene->UpdateWorld();
    glm::vec3 pLo = particles->GetPosition(0), pHi = pLo;
    for (uint32_t k = 0; k < 8; ++k) {
        pLo = glm::min(pLo, particles->GetPosition(k));
        pHi = glm::max(pHi, particles->GetPosition(k));
    }
    EXPECT_EQ(particles->GetWorldBBox().getMinimum(), pLo);
    EXPECT_EQ(particles->GetWorldBBox().getMaximum(), pHi);
    EXPECT_EQ(segments->GetWorldBBox().getMinimum(), lo);
    EXPECT_EQ(segments->GetWorldBBox().getMaximum(), hi);
}

TEST(StreamNodes, ClonesShareThePrimitiveAndCapacity)
{
    ParticleSceneNode particles(5, glm::vec3(1.0f), 2.0f);
    auto copy = particles.Clone();
    auto* typed = ParticleSceneNode::Cast(copy.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_EQ(typed->GetSeedCount(), 5u);
    typed->SetPosition(6, glm::vec3(9.0f));
    EXPECT_EQ(particles.GetPosition(1), glm::vec3(9.0f));

    SegmentsSceneNode segments(3, glm::vec3(1.0f), 2);
    auto segmentCopy = segments.Clone();
    ASSERT_NE(SegmentsSceneNode::Cast(segmentCopy.get()), nullptr);
    EXPECT_EQ(ParticleSceneNode::Cast(segmentCopy.get()), nullptr);
    SegmentsSceneNode::Cast(segmentCopy.get())->SetPositions(2, glm::vec3(1.0f), glm::vec3(2.0f));
    EXPECT_EQ(segments.GetEnd(2), glm::vec3(2.0f));
}

TEST(StreamNodes, BadCapacitiesAndShortPrimitivesWarnAndChangeNothing)
{
    orvtest::LogCapture log;
    ParticleSceneNode empty(0, glm::vec3(1.0f), 2.0f);
    empty.SetPosition(3, glm::vec3(1.0f));
    EXPECT_EQ(empty.GetPosition(3), glm::vec3(0.0f));
    SegmentsSceneNode noSegments(0, glm::vec3(1.0f), 1);
    noSegments.SetColors(1, glm::vec3(1.0f), glm::vec3(1.0f));
    EXPECT_EQ(log.warnings, std::vector<std::string>(5, "Capacity must not be zero!"));

    // A wrapped primitive of 2 points claimed to hold 4: slots 2 and 3 do not exist.
    log.warnings.clear();
    std::vector<float> xyz = {0, 0, 0, 1, 1, 1};
    auto shape = std::make_shared<PrimitiveShape>(GeometryBuilder::CreatePoints(Float32Array(xyz.data(), xyz.size())),
                                                  nullptr);
    ParticleSceneNode wrapped(shape, 4);
    wrapped.SetPosition(3, glm::vec3(5.0f));
    wrapped.SetColor(0, glm::vec3(5.0f)); // no colour attribute
    wrapped.SetPosition(5, glm::vec3(5.0f));
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"The primitive holds fewer vertices than the capacity!",
                                                      "Index is out of range!", "Primitive has no colors!"}));
    EXPECT_EQ(wrapped.GetPosition(1), glm::vec3(5.0f));
}

TEST(StreamNodes, AFrameUploadsOnlyTheWrittenElements)
{
    struct Case {
        const char* name;
        uint32_t first, count; // indices written before the second frame
        bool colors;
    };
    constexpr uint32_t kCapacity = 1000;
    for (const Case c : {Case{"none", 0, 0, false}, Case{"one", 17, 1, false}, Case{"a run", 100, 250, false},
                         Case{"across the wrap", 990, 25, false}, Case{"around twice", 5, 2 * kCapacity + 10, false},
                         Case{"positions and colours", 400, 30, true}}) {
        SCOPED_TRACE(c.name);
        auto manager = std::make_shared<SceneManager>(200, 200);
        manager->SetCoodinateGrid(nullptr);
        auto particles = std::make_shared<ParticleSceneNode>(kCapacity, glm::vec3(1.0f), 2.0f);
        auto segments = std::make_shared<SegmentsSceneNode>(kCapacity, glm::vec3(1.0f), 1);
        manager->GetScene()->AddNode(particles);
        manager->GetScene()->AddNode(segments);
        orvtest::RecordingDevice device(200, 200);
        Renderer renderer(&device, 1.0f);
        renderer.Initialize(manager);
        renderer.SetViewCondinateType(NoWidget);
        BasicPipeline pipeline;
        manager->UpdateWorld();
        pipeline.Render(manager, &renderer, 0.0f);
        EXPECT_EQ(device.uploadedBytes, 2 * 3 * kCapacity * kVec3Bytes); // first sight: everything, once

        device.uploadedBytes = 0;
        for (uint32_t i = c.first; i < c.first + c.count; ++i) {
            particles->SetPosition(i, Spot(i));
            segments->SetPositions(i, Spot(i), -Spot(i));
            if (c.colors) {
                particles->SetColor(i, glm::vec3(0.5f));
                segments->SetColors(i, glm::vec3(0.5f), glm::vec3(0.2f));
            }
        }
        particles->UpdateBoundingBox();
        segments->UpdateBoundingBox();
        manager->UpdateWorld();
        pipeline.Render(manager, &renderer, 0.0f);
        const std::size_t written = std::min(c.count, kCapacity); // distinct slots
        EXPECT_EQ(device.uploadedBytes, (c.colors ? 2 : 1) * 3 * written * kVec3Bytes);
    }
}

TEST(StreamNodes, PicksFollowTheLiveData)
{
    // Points on a 30 x 20 grid one unit apart, or short segments across the
    // same grid cells; element 45 is then moved through index N + 45.
    constexpr uint32_t kCapacity = 600; // past the linear-scan size: the tree answers
    const auto cell = [](uint32_t i) { return glm::vec3(float(i % 30) - 15.0f, float(i / 30) - 10.0f, 0.0f); };
    const glm::vec3 across(0.3f, 0.0f, 0.0f); // a segment's half length
    for (const bool segments : {false, true}) {
        SCOPED_TRACE(segments ? "segments" : "points");
        auto manager = std::make_shared<SceneManager>(200, 200);
        manager->SetCoodinateGrid(nullptr);
        std::shared_ptr<PrimitiveSceneNode> node;
        ParticleSceneNode* points = nullptr;
        SegmentsSceneNode* lines = nullptr;
        if (segments) {
            auto made = std::make_shared<SegmentsSceneNode>(kCapacity, glm::vec3(1.0f), 1);
            lines = made.get();
            node = made;
        } else {
            auto made = std::make_shared<ParticleSceneNode>(kCapacity, glm::vec3(1.0f), 2.0f);
            points = made.get();
            node = made;
        }
        const auto write = [&](uint32_t index, const glm::vec3& at) {
            if (lines)
                lines->SetPositions(index, at - across, at + across);
            else
                points->SetPosition(index, at);
            node->UpdateBoundingBox();
            manager->UpdateWorld();
        };
        manager->GetScene()->AddNode(node);
        for (uint32_t i = 0; i < kCapacity; ++i)
            write(i, cell(i));
        const auto& camera = manager->GetCamera();
        CameraOperator::FitToBox(camera, manager->GetScene()->GetWorldBBox(), 0.1f); // about 6 pixels apart
        const auto pickAt = [&](const glm::vec3& world) {
            const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(*camera, world);
            Raycaster caster(camera, segments ? 2 : 1, int(std::lround(w.x)), int(std::lround(w.y)));
            return caster.HitTest(manager) ? caster.GetTopItem().GetPrimitiveIndex() : -1;
        };
        ASSERT_EQ(pickAt(cell(45)), 45);

        const glm::vec3 moved(2.5f, 5.5f, 0.0f); // between four grid cells
        write(kCapacity + 45, moved);
        EXPECT_EQ(pickAt(moved), 45);
        EXPECT_NE(pickAt(cell(45)), 45); // a neighbour, if any, now
    }
}

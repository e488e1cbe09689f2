// Robot arms: forward kinematics of a six-axis arm (the classic DH table
// Universal Robots publishes for its UR5, millimetres) and self-collision
// of its six links.
//
// - RobotUpdateFrames: six new joint values and `UpdateFrames` (every
//   joint's frame, axis widget and virtual link, every link node), cycling
//   through 256 fixed random poses.
// - DhChainProduct: the same frames alone, as the arm computes them (each
//   joint's `RobotDH::Update`, then the chain product; all six frames
//   kept); DhChainProductComputeDH the same with `Math::ComputeDH` per joint
//   (which also evaluates the cosine and sine of the constant twist);
//   DhChainMultiply the chain product alone, of six ready DH frames.
// - KdlFkRecursive / KdlFkRecursiveAllFrames (when orocos KDL is installed,
//   scripts/setup bench): KDL's `ChainFkSolverPos_recursive` on the same
//   arm and poses, the tool frame alone and all six segment frames. The
//   frames are checked against the arm's before timing.
// - RobotSelfCollision: `RobotArm::SelfCollisionTest` on six links of about
//   5,000 triangles each (stretched spheres along the links), at 256 fixed
//   random poses; the pose and the world update are not timed. Counters:
//   the share of poses with a collision and of link pairs whose boxes meet.
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Math.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvcore/robot/RobotArm.h>
#include <orvcore/robot/RobotDH.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

#ifdef ORVCORE_HAVE_KDL
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>
#endif

using namespace orvcore;

namespace {

constexpr double kDeg = Math::PI / 180.0;

struct Row {
    double alpha, a, d;
};
const std::array<Row, 6> kTable = {{{90 * kDeg, 0, 89.159},
                                    {0, -425, 0},
                                    {0, -392.25, 0},
                                    {90 * kDeg, 0, 109.15},
                                    {-90 * kDeg, 0, 94.65},
                                    {0, 0, 82.3}}};

using Pose = std::array<double, 6>;

const std::vector<Pose>& Poses()
{
    static const std::vector<Pose> poses = [] {
        std::mt19937 random(11);
        std::uniform_real_distribution<double> angle(-Math::PI, Math::PI);
        std::vector<Pose> result(256);
        for (Pose& pose : result)
            for (double& q : pose)
                q = angle(random);
        return result;
    }();
    return poses;
}

std::shared_ptr<RobotArm> MakeArm(bool heavyLinks)
{
    auto arm = std::make_shared<RobotArm>();
    arm->SetAxisSize(60.0f);
    for (const Row& row : kTable)
        arm->AddJoint(ROBOT_JOINT_REVOLUTE, row.alpha, row.a, row.d, 0.0);
    arm->UpdateFrames();
    // Link k: a body along the segment from joint k - 1 to joint k (in joint
    // k's frame), a stretched sphere of about 4,900 triangles or a box.
    auto sphere = GeometryBuilder::CreateSphere(1.0f, 50, 50);
    for (unsigned int k = 0; k < 6; ++k) {
        const glm::mat4& frame = arm->GetJoint(k)->GetWorldFrame();
        const glm::vec3 from = glm::vec3(glm::inverse(frame) *
                                         (k > 0 ? arm->GetJoint(k - 1)->GetWorldFrame()[3] : glm::vec4(0, 0, 0, 1)));
        const glm::vec3 centre = from * 0.5f;
        const float length = std::max(glm::length(from), 60.0f);
        // Turn the body's z onto the segment.
        const glm::vec3 along = glm::length(from) > 1e-3f ? glm::normalize(from) : glm::vec3(0, 0, 1);
        const glm::vec3 side = std::fabs(along.z) < 0.9f ? glm::vec3(0, 0, 1) : glm::vec3(1, 0, 0);
        const glm::vec3 x = glm::normalize(glm::cross(side, along)), y = glm::cross(along, x);
        glm::mat4 place(glm::vec4(x, 0), glm::vec4(y, 0), glm::vec4(along, 0), glm::vec4(centre, 1));
        place = place * glm::scale(glm::mat4(1.0f), glm::vec3(45, 45, length * 0.5f + 40.0f));
        auto geometry = heavyLinks ? sphere : GeometryBuilder::CreateBox(glm::vec3(2.0f));
        auto node = std::make_shared<PrimitiveSceneNode>(geometry, nullptr);
        node->SetTransform(frame * place);
        arm->AddLink(k, node);
    }
    return arm;
}

void RobotUpdateFrames(benchmark::State& state)
{
    auto arm = MakeArm(false);
    const auto& poses = Poses();
    std::size_t next = 0;
    for (auto _ : state) {
        const Pose& pose = poses[next++ & 255];
        for (unsigned int j = 0; j < 6; ++j)
            arm->SetVariable(j, pose[j]);
        arm->UpdateFrames();
        benchmark::DoNotOptimize(arm->GetFinalTransform());
    }
}
BENCHMARK(RobotUpdateFrames);

void DhChainProduct(benchmark::State& state)
{
    const auto& poses = Poses();
    std::array<RobotDH, 6> dh;
    for (unsigned int j = 0; j < 6; ++j)
        dh[j] = RobotDH(kTable[j].alpha, kTable[j].a, kTable[j].d, 0.0);
    std::array<glm::mat4, 6> frames;
    std::size_t next = 0;
    for (auto _ : state) {
        const Pose& pose = poses[next++ & 255];
        glm::mat4 m(1.0f);
        for (unsigned int j = 0; j < 6; ++j) {
            dh[j].SetTheta(pose[j]);
            dh[j].Update();
            Math::MultiplyDH(m, dh[j].GetFrame(), frames[j]);
            m = frames[j];
        }
        benchmark::DoNotOptimize(frames);
    }
}
BENCHMARK(DhChainProduct);

void DhChainProductComputeDH(benchmark::State& state)
{
    const auto& poses = Poses();
    std::array<glm::mat4, 6> frames;
    std::size_t next = 0;
    for (auto _ : state) {
        const Pose& pose = poses[next++ & 255];
        glm::mat4 m(1.0f);
        for (unsigned int j = 0; j < 6; ++j) {
            const glm::mat4 local = Math::ComputeDH(kTable[j].alpha, kTable[j].a, kTable[j].d, pose[j]);
            Math::Multiply(m, local, frames[j]);
            m = frames[j];
        }
        benchmark::DoNotOptimize(frames);
    }
}
BENCHMARK(DhChainProductComputeDH);

void DhChainMultiply(benchmark::State& state)
{
    std::vector<std::array<glm::mat4, 6>> locals(256);
    for (std::size_t p = 0; p < 256; ++p)
        for (unsigned int j = 0; j < 6; ++j)
            locals[p][j] = Math::ComputeDH(kTable[j].alpha, kTable[j].a, kTable[j].d, Poses()[p][j]);
    std::array<glm::mat4, 6> frames;
    std::size_t next = 0;
    for (auto _ : state) {
        const auto& local = locals[next++ & 255];
        frames[0] = local[0];
        for (unsigned int j = 1; j < 6; ++j)
            Math::Multiply(frames[j - 1], local[j], frames[j]);
        benchmark::DoNotOptimize(frames);
    }
}
BENCHMARK(DhChainMultiply);

#ifdef ORVCORE_HAVE_KDL
KDL::Chain KdlChain()
{
    KDL::Chain chain;
    for (const Row& row : kTable)
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), KDL::Frame::DH(row.a, row.alpha, row.d, 0.0)));
    return chain;
}

std::vector<KDL::JntArray> KdlPoses()
{
    std::vector<KDL::JntArray> result;
    for (const Pose& pose : Poses()) {
        KDL::JntArray q(6);
        for (unsigned int j = 0; j < 6; ++j)
            q(j) = pose[j];
        result.push_back(q);
    }
    return result;
}

// The tool frame of both libraries within float rounding, for every pose.
bool KdlAgrees(const KDL::Chain& chain, const std::vector<KDL::JntArray>& poses)
{
    auto arm = MakeArm(false);
    KDL::ChainFkSolverPos_recursive solver(chain);
    for (std::size_t i = 0; i < poses.size(); ++i) {
        for (unsigned int j = 0; j < 6; ++j)
            arm->SetVariable(j, Poses()[i][j]);
        arm->UpdateFrames();
        KDL::Frame tool;
        if (solver.JntToCart(poses[i], tool) < 0)
            return false;
        const glm::mat4& ours = arm->GetFinalTransform();
        for (int r = 0; r < 3; ++r) {
            if (std::fabs(ours[3][r] - tool.p(r)) > 1e-3)
                return false;
            for (int c = 0; c < 3; ++c)
                if (std::fabs(ours[c][r] - tool.M(r, c)) > 1e-5)
                    return false;
        }
    }
    return true;
}

void KdlFkRecursive(benchmark::State& state)
{
    const KDL::Chain chain = KdlChain();
    const auto poses = KdlPoses();
    if (!KdlAgrees(chain, poses)) {
        state.SkipWithError("KDL and the arm disagree");
        return;
    }
    KDL::ChainFkSolverPos_recursive solver(chain);
    KDL::Frame tool;
    std::size_t next = 0;
    for (auto _ : state) {
        solver.JntToCart(poses[next++ & 255], tool);
        benchmark::DoNotOptimize(tool);
    }
}
BENCHMARK(KdlFkRecursive);

void KdlFkRecursiveAllFrames(benchmark::State& state)
{
    const KDL::Chain chain = KdlChain();
    const auto poses = KdlPoses();
    KDL::ChainFkSolverPos_recursive solver(chain);
    std::vector<KDL::Frame> frames(6);
    std::size_t next = 0;
    for (auto _ : state) {
        solver.JntToCart(poses[next++ & 255], frames);
        benchmark::DoNotOptimize(frames.data());
    }
}
BENCHMARK(KdlFkRecursiveAllFrames);
#endif

void RobotSelfCollision(benchmark::State& state)
{
    auto arm = MakeArm(true);
    const auto& poses = Poses();
    std::size_t next = 0, colliding = 0, queries = 0, overlapping = 0;
    std::vector<double> us;
    for (auto _ : state) {
        const Pose& pose = poses[next++ & 255];
        for (unsigned int j = 0; j < 6; ++j)
            arm->SetVariable(j, pose[j]);
        arm->UpdateFrames();
        arm->UpdateTransform(glm::mat4(1.0f));
        const auto start = std::chrono::steady_clock::now();
        const std::vector<uint32_t> pairs = arm->SelfCollisionTest();
        const auto stop = std::chrono::steady_clock::now();
        const double seconds = std::chrono::duration<double>(stop - start).count();
        state.SetIterationTime(seconds);
        us.push_back(seconds * 1e6);
        colliding += !pairs.empty();
        ++queries;
        for (unsigned int i = 0; i + 2 < 6; ++i)
            for (unsigned int j = i + 2; j < 6; ++j)
                overlapping += arm->GetLink(i)->GetVisualNode()->GetWorldBBox().intersects(
                    arm->GetLink(j)->GetVisualNode()->GetWorldBBox());
    }
    std::sort(us.begin(), us.end());
    state.counters["median_us"] = us[us.size() / 2];
    state.counters["p90_us"] = us[us.size() * 9 / 10];
    state.counters["colliding"] = double(colliding) / double(queries);
    state.counters["boxes_meet"] = double(overlapping) / double(queries * 10);
    state.counters["triangles_per_link"] =
        double(GeometryBuilder::CreateSphere(1.0f, 50, 50)->GetIndex()->GetCount() / 3);
}
BENCHMARK(RobotSelfCollision)->UseManualTime();

} // namespace

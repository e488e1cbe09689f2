// Collision: two generated meshes (a finely tessellated torus of 72,000
// triangles and a noisy sphere of 39,600) at 200 fixed random poses, 30 %
// of them touching and all with overlapping world boxes, each pose tested
// as the API is used (move the sphere's node, make a detector for it, test
// it against the torus); the build of the meshes' trees; and the
// self-collision of a six-link arm of 5,000-triangle links at 256 random
// joint poses, about a fifth of them colliding (the ten non-adjacent pairs
// per query, detectors prepared once, posed test).
//
// Beside each, when FCL is installed (scripts/setup bench), the same work in
// FCL: BVHModel<OBBRSS> models, boolean collide with one contact. Both
// libraries answer every pose; disagreements are counted (zero expected).
// Per-pose times are reported as median and 90th percentile counters (us).
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include <orvkernel/collision/CollisionMesh.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvcore/collision/NodeCollisionDetector.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

#ifdef ORVCORE_HAVE_FCL
#include <fcl/geometry/bvh/BVH_model.h>
#include <fcl/narrowphase/collision.h>
#include <fcl/narrowphase/collision_object.h>
#endif

using namespace orvcore;

namespace {

using Clock = std::chrono::steady_clock;

std::shared_ptr<BufferGeometry> Indexed(const std::vector<glm::vec3>& points, const std::vector<uint32_t>& index)
{
    auto g = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    g->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(&points[0].x, points.size() * 3, 3));
    g->SetIndex(std::make_shared<ElementAttribute>(index));
    g->ComputeBoundingBox();
    return g;
}

// Torus around Z: 2 * nu * nv triangles.
std::shared_ptr<BufferGeometry> Torus(float major, float minor, uint32_t nu, uint32_t nv)
{
    std::vector<glm::vec3> points;
    std::vector<uint32_t> index;
    for (uint32_t i = 0; i < nu; ++i)
        for (uint32_t j = 0; j < nv; ++j) {
            const float u = 6.2831853f * float(i) / float(nu), v = 6.2831853f * float(j) / float(nv);
            points.emplace_back((major + minor * std::cos(v)) * std::cos(u), (major + minor * std::cos(v)) * std::sin(u),
                                minor * std::sin(v));
            const uint32_t a = i * nv + j, b = ((i + 1) % nu) * nv + j, c = i * nv + (j + 1) % nv,
                           d = ((i + 1) % nu) * nv + (j + 1) % nv;
            index.insert(index.end(), {a, b, d, a, d, c});
        }
    return Indexed(points, index);
}

// A UV sphere whose radius wanders by a few percent with position: bumps
// of several sizes, the same at duplicated seam vertices.
std::shared_ptr<BufferGeometry> NoisySphere(float radius, uint32_t nu, uint32_t nv)
{
    auto g = GeometryBuilder::CreateSphere(radius, nu, nv);
    const BufferAttribute& p = *g->GetPositions();
    std::vector<glm::vec3> points(p.GetCount());
    for (std::size_t i = 0; i < points.size(); ++i) {
        const glm::vec3 d = p.GetVec3(i) / radius;
        const float bump = 0.04f * std::sin(5 * d.x + 1) * std::sin(4 * d.y + 2) * std::sin(6 * d.z) +
                           0.01f * std::sin(31 * d.x) * std::sin(29 * d.y + 1) * std::sin(37 * d.z + 2);
        points[i] = d * radius * (1.0f + bump);
    }
    std::vector<uint32_t> index(g->GetElementCount());
    for (std::size_t e = 0; e < index.size(); ++e)
        index[e] = g->GetElementVertex(e);
    return Indexed(points, index);
}

glm::mat4 RandomRotation(std::mt19937& rng)
{
    std::normal_distribution<float> n(0.0f, 1.0f);
    return glm::mat4_cast(glm::normalize(glm::quat(n(rng), n(rng), n(rng), n(rng))));
}

struct Timings {
    std::vector<double> us;
    void Report(benchmark::State& state)
    {
        std::sort(us.begin(), us.end());
        if (us.empty())
            return;
        state.counters["median_us"] = us[us.size() / 2];
        state.counters["p90_us"] = us[us.size() * 9 / 10];
    }
};

double Since(Clock::time_point start) { return std::chrono::duration<double, std::micro>(Clock::now() - start).count(); }

#ifdef ORVCORE_HAVE_FCL
using FclModel = fcl::BVHModel<fcl::OBBRSSd>;

std::shared_ptr<FclModel> FclMesh(const BufferGeometry& g)
{
    std::vector<fcl::Vector3d> points;
    const BufferAttribute& p = *g.GetPositions();
    for (std::size_t i = 0; i < p.GetCount(); ++i) {
        const glm::vec3 v = p.GetVec3(i);
        points.emplace_back(v.x, v.y, v.z);
    }
    std::vector<fcl::Triangle> triangles;
    for (std::size_t e = 0; e + 2 < g.GetElementCount(); e += 3)
        triangles.emplace_back(g.GetElementVertex(e), g.GetElementVertex(e + 1), g.GetElementVertex(e + 2));
    auto model = std::make_shared<FclModel>();
    model->beginModel(int(triangles.size()), int(points.size()));
    model->addSubModel(points, triangles);
    model->endModel();
    return model;
}

fcl::Transform3d FclPose(const glm::mat4& m)
{
    fcl::Transform3d t = fcl::Transform3d::Identity();
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c)
            t.linear()(r, c) = m[c][r];
        t.translation()(r) = m[3][r];
    }
    return t;
}

bool FclCollide(const fcl::CollisionObjectd& a, const fcl::CollisionObjectd& b)
{
    fcl::CollisionRequestd request(1, false);
    fcl::CollisionResultd result;
    fcl::collide(&a, &b, request, result);
    return result.isCollision();
}
#endif

// The torus at the origin and the sphere's node, with 200 poses of the
// sphere: 60 touching, 140 apart, every one with overlapping world boxes.
struct MeshPair {
    std::shared_ptr<PrimitiveSceneNode> torus, sphere;
    std::vector<glm::mat4> poses;
    std::vector<bool> touching;

    MeshPair()
        : torus(std::make_shared<PrimitiveSceneNode>(Torus(1.0f, 0.35f, 300, 120), nullptr)),
          sphere(std::make_shared<PrimitiveSceneNode>(NoisySphere(0.55f, 200, 100), nullptr))
    {
        torus->UpdateTransform(glm::mat4(1.0f));
        std::mt19937 rng(2024);
        std::uniform_real_distribution<float> u(-1.0f, 1.0f);
        int hits = 0, misses = 0;
        while (hits + misses < 200) {
            glm::mat4 pose = RandomRotation(rng);
            pose[3] = glm::vec4(1.7f * u(rng), 1.7f * u(rng), 0.9f * u(rng), 1.0f);
            if (!Move(pose))
                continue;
            const bool hit = NodeCollisionDetector(sphere).Test(torus);
            if ((hit && hits >= 60) || (!hit && misses >= 140))
                continue;
            (hit ? hits : misses)++;
            poses.push_back(pose);
            touching.push_back(hit);
        }
    }

    // Moves the sphere; true when the world boxes overlap.
    bool Move(const glm::mat4& pose)
    {
        sphere->SetTransform(pose);
        sphere->RequstUpdate();
        sphere->UpdateTransform(glm::mat4(1.0f));
        return sphere->GetWorldBBox().intersects(torus->GetWorldBBox());
    }
};

MeshPair& Pair()
{
    static MeshPair pair;
    return pair;
}

void BM_CollisionMeshMesh(benchmark::State& state)
{
    MeshPair& pair = Pair();
    Timings timings;
    for (auto _ : state) {
        for (std::size_t i = 0; i < pair.poses.size(); ++i) {
            const Clock::time_point start = Clock::now();
            pair.Move(pair.poses[i]);
            NodeCollisionDetector detector(pair.sphere);
            benchmark::DoNotOptimize(detector.Test(pair.torus));
            timings.us.push_back(Since(start));
        }
    }
    timings.Report(state);
    state.counters["touching"] = double(std::count(pair.touching.begin(), pair.touching.end(), true));
    state.counters["poses"] = double(pair.poses.size());
}

void BM_CollisionBuild(benchmark::State& state)
{
    MeshPair& pair = Pair();
    for (auto _ : state) {
        benchmark::DoNotOptimize(CollisionMesh::Build(*pair.torus->GetPrimitive()->GetGeometry()));
        benchmark::DoNotOptimize(CollisionMesh::Build(*pair.sphere->GetPrimitive()->GetGeometry()));
    }
    state.counters["triangles"] = double(pair.torus->GetPrimitive()->GetGeometry()->GetPrimitiveCount() +
                                         pair.sphere->GetPrimitive()->GetGeometry()->GetPrimitiveCount());
}

// Six ellipsoid links (radius 0.11), each along its own +Z from its joint to
// the next, ends overlapping at the joints; joints turn about Z, Y, Y, Z, Y,
// Z.
struct Arm {
    static constexpr int kLinks = 6;
    std::shared_ptr<PrimitiveSceneNode> nodes[kLinks];
    std::vector<NodeCollisionDetector> links;
    float lengths[kLinks] = {0.30f, 0.55f, 0.50f, 0.30f, 0.25f, 0.20f};
    std::vector<std::array<glm::mat4, kLinks>> poses;

    Arm()
    {
        for (int i = 0; i < kLinks; ++i) {
            auto g = GeometryBuilder::CreateSphere(1.0f, 50, 51);
            const BufferAttribute& p = *g->GetPositions();
            std::vector<glm::vec3> points(p.GetCount());
            const float half = lengths[i] * 0.5f + 0.04f;
            for (std::size_t k = 0; k < points.size(); ++k) {
                const glm::vec3 v = p.GetVec3(k);
                points[k] = glm::vec3(v.x * 0.11f, v.y * 0.11f, v.z * half + lengths[i] * 0.5f);
            }
            std::vector<uint32_t> index(g->GetElementCount());
            for (std::size_t e = 0; e < index.size(); ++e)
                index[e] = g->GetElementVertex(e);
            nodes[i] = std::make_shared<PrimitiveSceneNode>(Indexed(points, index), nullptr);
            nodes[i]->UpdateTransform(glm::mat4(1.0f));
            links.emplace_back(nodes[i]);
            links.back().Prepare();
        }
        const glm::vec3 axes[kLinks] = {{0, 0, 1}, {0, 1, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 0}, {0, 0, 1}};
        std::mt19937 rng(7);
        std::uniform_real_distribution<float> angle(-2.8f, 2.8f);
        for (int q = 0; q < 256; ++q) {
            std::array<glm::mat4, kLinks> pose;
            glm::mat4 frame(1.0f);
            for (int i = 0; i < kLinks; ++i) {
                frame = glm::rotate(frame, angle(rng), axes[i]);
                pose[i] = frame;
                frame = glm::translate(frame, glm::vec3(0, 0, lengths[i]));
            }
            poses.push_back(pose);
        }
    }
};

Arm& TheArm()
{
    static Arm arm;
    return arm;
}

void BM_CollisionSelfArm(benchmark::State& state)
{
    Arm& arm = TheArm();
    std::size_t q = 0, queries = 0, colliding = 0;
    Timings timings;
    for (auto _ : state) {
        const auto& pose = arm.poses[q++ % arm.poses.size()];
        const Clock::time_point start = Clock::now();
        bool any = false;
        for (int i = 0; i < Arm::kLinks; ++i)
            for (int j = i + 2; j < Arm::kLinks; ++j)
                any |= arm.links[std::size_t(i)].Test(pose[std::size_t(i)], arm.links[std::size_t(j)], pose[std::size_t(j)]);
        timings.us.push_back(Since(start));
        colliding += any;
        ++queries;
    }
    timings.Report(state);
    state.counters["colliding"] = double(colliding) / double(queries);
}

#ifdef ORVCORE_HAVE_FCL
void BM_FclMeshMesh(benchmark::State& state)
{
    MeshPair& pair = Pair();
    fcl::CollisionObjectd torus(FclMesh(*pair.torus->GetPrimitive()->GetGeometry()), fcl::Transform3d::Identity());
    fcl::CollisionObjectd sphere(FclMesh(*pair.sphere->GetPrimitive()->GetGeometry()), fcl::Transform3d::Identity());
    torus.computeAABB();
    Timings timings;
    std::size_t disagreements = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < pair.poses.size(); ++i) {
            const Clock::time_point start = Clock::now();
            sphere.setTransform(FclPose(pair.poses[i]));
            sphere.computeAABB();
            const bool hit = FclCollide(sphere, torus);
            timings.us.push_back(Since(start));
            disagreements += hit != pair.touching[i];
        }
    }
    timings.Report(state);
    state.counters["disagreements"] = double(disagreements) / double(state.iterations());
}

void BM_FclBuild(benchmark::State& state)
{
    MeshPair& pair = Pair();
    for (auto _ : state) {
        benchmark::DoNotOptimize(FclMesh(*pair.torus->GetPrimitive()->GetGeometry()));
        benchmark::DoNotOptimize(FclMesh(*pair.sphere->GetPrimitive()->GetGeometry()));
    }
}

void BM_FclSelfArm(benchmark::State& state)
{
    Arm& arm = TheArm();
    std::vector<std::unique_ptr<fcl::CollisionObjectd>> links;
    for (const auto& node : arm.nodes)
        links.push_back(std::make_unique<fcl::CollisionObjectd>(FclMesh(*node->GetPrimitive()->GetGeometry())));
    std::size_t q = 0, disagreements = 0;
    Timings timings;
    for (auto _ : state) {
        const auto& pose = arm.poses[q++ % arm.poses.size()];
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < Arm::kLinks; ++i) {
            links[std::size_t(i)]->setTransform(FclPose(pose[std::size_t(i)]));
            links[std::size_t(i)]->computeAABB();
        }
        bool pairs[Arm::kLinks][Arm::kLinks] = {};
        for (int i = 0; i < Arm::kLinks; ++i)
            for (int j = i + 2; j < Arm::kLinks; ++j)
                pairs[i][j] = FclCollide(*links[std::size_t(i)], *links[std::size_t(j)]);
        timings.us.push_back(Since(start));
        for (int i = 0; i < Arm::kLinks; ++i)
            for (int j = i + 2; j < Arm::kLinks; ++j)
                disagreements += pairs[i][j] != arm.links[std::size_t(i)].Test(pose[std::size_t(i)], arm.links[std::size_t(j)],
                                                                                pose[std::size_t(j)]);
    }
    timings.Report(state);
    state.counters["disagreements"] = double(disagreements);
}
#endif

} // namespace

BENCHMARK(BM_CollisionMeshMesh)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CollisionBuild)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CollisionSelfArm)->Unit(benchmark::kMicrosecond);
#ifdef ORVCORE_HAVE_FCL
BENCHMARK(BM_FclMeshMesh)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FclBuild)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FclSelfArm)->Unit(benchmark::kMicrosecond);
#endif

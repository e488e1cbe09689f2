// Ray picks on real meshes of 4,000 to 90,000 triangles (the CGAL demo
// meshes that Debian ships in libcgal-demo's data archive, extracted at run
// time): a full `Raycaster::HitTest` from a window point, and beside it one
// `rtcIntersect1` of Embree 3 on the same ray, when Embree is installed. The
// window points are spread over the mesh's projection (misses included)
// and cycled, so both sides see the same rays in the same order.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

#ifdef ORVCORE_HAVE_EMBREE
#include <embree3/rtcore.h>
#endif

using namespace orvcore;

namespace {

constexpr const char* kArchive = "/usr/share/doc/libcgal-dev/data.tar.gz";
constexpr unsigned kWidth = 1280, kHeight = 720;
constexpr std::size_t kRays = 4096;

struct Mesh {
    std::vector<float> positions;
    std::vector<uint32_t> indices;
};

/// OFF: the counts line, then the vertices, then polygons (fanned).
bool ReadOff(const std::string& path, Mesh& mesh)
{
    std::ifstream in(path);
    std::string word;
    in >> word;
    if (word != "OFF")
        return false;
    std::size_t vertices = 0, faces = 0, edges = 0;
    in >> vertices >> faces >> edges;
    mesh.positions.resize(vertices * 3);
    for (float& v : mesh.positions)
        in >> v;
    for (std::size_t f = 0; f < faces && in; ++f) {
        std::size_t n = 0;
        in >> n;
        std::vector<uint32_t> polygon(n);
        for (uint32_t& i : polygon)
            in >> i;
        for (std::size_t k = 2; k < n; ++k)
            mesh.indices.insert(mesh.indices.end(), {polygon[0], polygon[k - 1], polygon[k]});
        std::string rest;
        std::getline(in, rest); // face colours, if any
    }
    return bool(in) && !mesh.indices.empty();
}

/// Binary STL, a vertex per corner (enough for picking).
bool ReadStl(const std::string& path, Mesh& mesh)
{
    std::ifstream in(path, std::ios::binary);
    char header[80];
    uint32_t count = 0;
    if (!in.read(header, 80) || !in.read(reinterpret_cast<char*>(&count), 4))
        return false;
    char facet[50];
    for (uint32_t t = 0; t < count && in.read(facet, 50); ++t) {
        float corners[9];
        std::memcpy(corners, facet + 12, sizeof(corners));
        for (int k = 0; k < 3; ++k)
            mesh.indices.push_back(uint32_t(mesh.positions.size() / 3 + std::size_t(k)));
        mesh.positions.insert(mesh.positions.end(), corners, corners + 9);
    }
    return mesh.indices.size() == std::size_t(count) * 3 && count > 0;
}

/// The mesh named `name` ("bunny00.off", "pig.stl", ...) from the archive,
/// extracted once into a scratch folder.
bool LoadMesh(const std::string& name, Mesh& mesh, std::string& error)
{
    const std::string dir = "/tmp/orvcore_bench_meshes";
    const std::string path = dir + "/data/meshes/" + name;
    if (!std::ifstream(path)) {
        if (!std::ifstream(kArchive)) {
            error = std::string(kArchive) + " is missing (apt-get install libcgal-demo)";
            return false;
        }
        const std::string command = "mkdir -p " + dir + " && tar xzf " + kArchive + " -C " + dir + " data/meshes/" + name;
        if (std::system(command.c_str()) != 0) {
            error = "cannot extract " + name;
            return false;
        }
    }
    const bool ok = name.size() > 4 && name.compare(name.size() - 4, 4, ".stl") == 0 ? ReadStl(path, mesh)
                                                                                       : ReadOff(path, mesh);
    if (!ok)
        error = "cannot read " + path;
    return ok;
}

struct RealScene {
    std::shared_ptr<Camera> camera;
    std::shared_ptr<GroupSceneNode> root;
    std::vector<glm::ivec2> cursors;
    std::size_t triangles = 0;
};

/// The mesh in a group, seen in perspective from an oblique direction and
/// framed, with window points over the middle 80 % of its box's projection.
bool MakeScene(const std::string& name, const Mesh& mesh, RealScene& s)
{
    auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    geometry->SetAttribute(ATTRIBUTE_POSITION,
                           std::make_shared<BufferAttribute>(mesh.positions.data(), mesh.positions.size(), 3));
    geometry->SetIndex(std::make_shared<ElementAttribute>(mesh.indices));
    geometry->ComputeBoundingBox();
    s.root = std::make_shared<GroupSceneNode>();
    s.root->AddNode(std::make_shared<PrimitiveSceneNode>(geometry, MaterialInstance::Create(name)));
    s.root->UpdateTransform(glm::mat4(1.0f));
    const AxisAlignedBox box = s.root->GetWorldBBox();
    s.camera = std::make_shared<Camera>(kWidth, kHeight, box.getCenter() + glm::vec3(1, -2, 1.5f), box.getCenter(),
                                        glm::vec3(0, 0, 1));
    CameraOperator::ZoomToBBox(s.camera, box, 1.0f);
    glm::vec2 lo(std::numeric_limits<float>::max()), hi(-std::numeric_limits<float>::max());
    for (int i = 0; i < 8; ++i) {
        const glm::vec3 corner((i & 1) ? box.getMaximum().x : box.getMinimum().x,
                               (i & 2) ? box.getMaximum().y : box.getMinimum().y,
                               (i & 4) ? box.getMaximum().z : box.getMinimum().z);
        const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(*s.camera, corner);
        lo = glm::min(lo, glm::vec2(w));
        hi = glm::max(hi, glm::vec2(w));
    }
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(0.1f, 0.9f);
    for (std::size_t i = 0; i < kRays; ++i)
        s.cursors.emplace_back(int(lo.x + (hi.x - lo.x) * u(rng)), int(lo.y + (hi.y - lo.y) * u(rng)));
    s.triangles = mesh.indices.size() / 3;
    return true;
}

bool Prepare(benchmark::State& state, const std::string& name, Mesh& mesh, RealScene& s)
{
    std::string error;
    if (!LoadMesh(name, mesh, error)) {
        state.SkipWithError(error.c_str());
        return false;
    }
    return MakeScene(name, mesh, s);
}

void BM_PickRealMesh(benchmark::State& state, const std::string& name)
{
    Mesh mesh;
    RealScene s;
    if (!Prepare(state, name, mesh, s))
        return;
    Raycaster(s.camera, 7, s.cursors[0].x, s.cursors[0].y).HitTest(s.root); // builds the tree
    std::size_t i = 0, hits = 0;
    for (auto _ : state) {
        const glm::ivec2& c = s.cursors[i++ % kRays];
        Raycaster caster(s.camera, 7, c.x, c.y);
        hits += caster.HitTest(s.root) > 0;
        benchmark::DoNotOptimize(caster.GetTopItem());
    }
    state.counters["hit_rate"] = double(hits) / double(state.iterations());
    state.counters["triangles"] = double(s.triangles);
}

// The bare tree query under the pick: the mesh's nearest hit of the same
// world rays (the mesh sits at the origin), without the camera, the scene
// walk or the picked items.
void BM_NearestRealMesh(benchmark::State& state, const std::string& name)
{
    Mesh mesh;
    RealScene s;
    if (!Prepare(state, name, mesh, s))
        return;
    auto* node = static_cast<PrimitiveSceneNode*>(s.root->GetChildren().begin()->second.get());
    const std::shared_ptr<PrimitiveShape>& shape = node->GetPrimitive();
    std::vector<Ray> rays;
    for (const glm::ivec2& c : s.cursors)
        rays.push_back(CameraOperator::WindowPointToRay(s.camera, c.x, c.y));
    shape->ComputeNearestPoint(rays[0]); // builds the tree
    std::size_t i = 0, hits = 0;
    for (auto _ : state) {
        const IntersectPoint ip = shape->ComputeNearestPoint(rays[i++ % kRays]);
        hits += ip.GetPrimitiveIndex() >= 0;
        benchmark::DoNotOptimize(ip);
    }
    state.counters["hit_rate"] = double(hits) / double(state.iterations());
    state.counters["triangles"] = double(s.triangles);
}

#ifdef ORVCORE_HAVE_EMBREE
void BM_EmbreePickRealMesh(benchmark::State& state, const std::string& name)
{
    Mesh mesh;
    RealScene s;
    if (!Prepare(state, name, mesh, s))
        return;
    RTCDevice device = rtcNewDevice(nullptr);
    RTCScene scene = rtcNewScene(device);
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    // Embree may read 16 bytes from the last vertex: one spare float.
    mesh.positions.push_back(0.0f);
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, mesh.positions.data(), 0,
                               3 * sizeof(float), (mesh.positions.size() - 1) / 3);
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, mesh.indices.data(), 0,
                               3 * sizeof(uint32_t), mesh.indices.size() / 3);
    rtcCommitGeometry(geometry);
    rtcAttachGeometry(scene, geometry);
    rtcReleaseGeometry(geometry);
    rtcCommitScene(scene);
    // The same rays as the caster's.
    std::vector<Ray> rays;
    for (const glm::ivec2& c : s.cursors)
        rays.push_back(CameraOperator::WindowPointToRay(s.camera, c.x, c.y));
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    std::size_t i = 0, hits = 0;
    for (auto _ : state) {
        const Ray& ray = rays[i++ % kRays];
        RTCRayHit hit;
        hit.ray.org_x = ray.getOrigin().x;
        hit.ray.org_y = ray.getOrigin().y;
        hit.ray.org_z = ray.getOrigin().z;
        hit.ray.dir_x = ray.getDirection().x;
        hit.ray.dir_y = ray.getDirection().y;
        hit.ray.dir_z = ray.getDirection().z;
        hit.ray.tnear = 0.0f;
        hit.ray.tfar = std::numeric_limits<float>::infinity();
        hit.ray.mask = 0xffffffffu;
        hit.ray.flags = 0;
        hit.ray.time = 0.0f;
        hit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        rtcIntersect1(scene, &context, &hit);
        hits += hit.hit.geomID != RTC_INVALID_GEOMETRY_ID;
        benchmark::DoNotOptimize(hit.ray.tfar);
    }
    state.counters["hit_rate"] = double(hits) / double(state.iterations());
    state.counters["triangles"] = double(s.triangles);
    rtcReleaseScene(scene);
    rtcReleaseDevice(device);
}
#endif

// 4,000 to 90,000 triangles: pig (16,848, binary STL, corners unshared),
// bunny00, armadillo, refined_elephant.
const char* const kMeshes[] = {"pig.stl", "bunny00.off", "armadillo.off", "refined_elephant.off"};

int RegisterRealMeshPicks()
{
    for (const char* name : kMeshes) {
        benchmark::RegisterBenchmark((std::string("BM_PickRealMesh/") + name).c_str(), BM_PickRealMesh, name)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((std::string("BM_NearestRealMesh/") + name).c_str(), BM_NearestRealMesh, name)
            ->Unit(benchmark::kMicrosecond);
#ifdef ORVCORE_HAVE_EMBREE
        benchmark::RegisterBenchmark((std::string("BM_EmbreePickRealMesh/") + name).c_str(), BM_EmbreePickRealMesh,
                                     name)
            ->Unit(benchmark::kMicrosecond);
#endif
    }
    return 0;
}

[[maybe_unused]] const int kRegistered = RegisterRealMeshPicks();

} // namespace

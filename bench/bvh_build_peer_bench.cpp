// Search-tree build over 1,000,000 triangles (a 707 x 707 wavy height
// field): ours on one core, as a mesh's first pick builds it, beside Embree
// 3's scene build on two threads (when installed). Both report triangles
// per second.
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/shape/PrimitiveShape.h>

#ifdef ORVCORE_HAVE_EMBREE
#include <embree3/rtcore.h>
#endif

using namespace orvcore;

namespace {

constexpr int kSide = 707;

struct Field {
    std::vector<float> positions;
    std::vector<uint32_t> indices;
};

const Field& HeightField()
{
    static const Field field = [] {
        Field f;
        for (int j = 0; j <= kSide; ++j)
            for (int i = 0; i <= kSide; ++i)
                f.positions.insert(f.positions.end(), {float(i), float(j),
                                                       4.0f * std::sin(float(i) * 0.05f) * std::cos(float(j) * 0.04f)});
        for (int j = 0; j < kSide; ++j)
            for (int i = 0; i < kSide; ++i) {
                const uint32_t a = uint32_t(j * (kSide + 1) + i), b = a + 1, c = a + uint32_t(kSide + 1), d = c + 1;
                f.indices.insert(f.indices.end(), {a, b, d, a, d, c});
            }
        f.positions.push_back(0.0f); // Embree may read 16 bytes from the last vertex
        return f;
    }();
    return field;
}

void BM_BvhBuildMesh1M(benchmark::State& state)
{
    const Field& f = HeightField();
    auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    geometry->SetAttribute(ATTRIBUTE_POSITION,
                           std::make_shared<BufferAttribute>(f.positions.data(), f.positions.size() - 1, 3));
    geometry->SetIndex(std::make_shared<ElementAttribute>(f.indices));
    geometry->ComputeBoundingBox();
    const Ray ray(glm::vec3(300, 300, 50), glm::vec3(0, 0, -1));
    for (auto _ : state) {
        PrimitiveShape shape(geometry, nullptr);
        benchmark::DoNotOptimize(shape.ComputeNearestPoint(ray)); // the first query builds
    }
    state.SetItemsProcessed(state.iterations() * int64_t(f.indices.size() / 3));
}

#ifdef ORVCORE_HAVE_EMBREE
void BM_EmbreeBuildMesh1M(benchmark::State& state)
{
    const Field& f = HeightField();
    RTCDevice device = rtcNewDevice("threads=2");
    for (auto _ : state) {
        RTCScene scene = rtcNewScene(device);
        RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, f.positions.data(), 0,
                                   3 * sizeof(float), (f.positions.size() - 1) / 3);
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, f.indices.data(), 0,
                                   3 * sizeof(uint32_t), f.indices.size() / 3);
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene, geometry);
        rtcReleaseGeometry(geometry);
        rtcCommitScene(scene);
        rtcReleaseScene(scene);
    }
    rtcReleaseDevice(device);
    state.SetItemsProcessed(state.iterations() * int64_t(f.indices.size() / 3));
}
BENCHMARK(BM_EmbreeBuildMesh1M)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

} // namespace

BENCHMARK(BM_BvhBuildMesh1M)->Unit(benchmark::kMillisecond)->UseRealTime();

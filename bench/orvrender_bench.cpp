// orvrender on a 1,000,000-triangle imported model at 1280 x 720: the model
// is written as a binary STL, then loaded through a scene file (import,
// feature edges), drawn once (uploads, search trees are built on the first
// pick), and picked again and again in process. Load and first-frame times
// are reported as counters; the timed loop is one pick through the whole
// scene manager. The model file is also read and imported alone.
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/ModelImporter.h>
#include <orvrender/ModelReader.h>
#include <orvrender/RenderSession.h>

namespace {

// A wavy 708 x 706 height field as binary STL (999,432 triangles).
std::string WriteModel()
{
    const std::string path = "/tmp/orvrender_bench_1m.stl";
    std::ofstream out(path, std::ios::binary);
    const int nx = 708, ny = 706;
    char header[80] = "orvrender benchmark surface";
    out.write(header, 80);
    const uint32_t count = uint32_t(nx) * uint32_t(ny) * 2u;
    out.write(reinterpret_cast<const char*>(&count), 4);
    auto z = [](int i, int j) { return 20.0f * std::sin(float(i) * 0.05f) * std::cos(float(j) * 0.04f); };
    auto facet = [&out](const float* a, const float* b, const float* c) {
        const float normal[3] = {0, 0, 0};
        out.write(reinterpret_cast<const char*>(normal), 12);
        out.write(reinterpret_cast<const char*>(a), 12);
        out.write(reinterpret_cast<const char*>(b), 12);
        out.write(reinterpret_cast<const char*>(c), 12);
        const uint16_t attribute = 0;
        out.write(reinterpret_cast<const char*>(&attribute), 2);
    };
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) {
            const float p00[3] = {float(i), float(j), z(i, j)}, p10[3] = {float(i + 1), float(j), z(i + 1, j)};
            const float p01[3] = {float(i), float(j + 1), z(i, j + 1)},
                        p11[3] = {float(i + 1), float(j + 1), z(i + 1, j + 1)};
            facet(p00, p10, p11);
            facet(p00, p11, p01);
        }
    return path;
}

void BM_OrvrenderMillionTrianglePick(benchmark::State& state)
{
    const std::string model = WriteModel();
    const std::string scene = "/tmp/orvrender_bench_1m.json";
    std::ofstream(scene) << R"({"camera": {"fit": "isometric"}, "grid": {"visible": false},
        "nodes": [{"type": "model", "name": "surface", "file": "orvrender_bench_1m.stl"}]})";

    orvrender::RenderSession session(1280, 720);
    if (!session.IsReady()) {
        state.SkipWithError("no headless OpenGL context");
        return;
    }
    using Clock = std::chrono::steady_clock;
    const auto t0 = Clock::now();
    std::string error;
    if (!session.LoadFile(scene, error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    const auto t1 = Clock::now();
    const double firstFrame = session.Render();
    const auto t2 = Clock::now();
    const orvrender::PickReport first = session.Pick(640, 360); // builds the search tree
    const auto t3 = Clock::now();
    if (!first.hit) {
        state.SkipWithError("the centre pick missed the model");
        return;
    }

    int i = 0;
    for (auto _ : state) {
        // Points around the centre of the view, all on the model.
        const int x = 560 + (i * 37) % 160, y = 300 + (i * 53) % 120;
        ++i;
        benchmark::DoNotOptimize(session.Pick(x, y));
    }
    const auto ms = [](Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); };
    state.counters["load_ms"] = ms(t1 - t0);
    state.counters["first_frame_ms"] = firstFrame;
    state.counters["first_frame_wall_ms"] = ms(t2 - t1);
    state.counters["first_pick_ms"] = ms(t3 - t2);
    state.counters["triangles"] = double(session.GetInfo().triangles);
}

// The same file read alone (binary STL: welded corners, smooth normals),
// then imported (shapes, feature edges, boxes).
void BM_ReadMillionTriangleStl(benchmark::State& state)
{
    const std::string model = WriteModel();
    for (auto _ : state) {
        orvrender::FileModel file;
        std::string reason;
        if (!orvrender::ReadModelFile(model, 30.0f, 120, 8192, file, reason)) {
            state.SkipWithError(reason.c_str());
            return;
        }
        benchmark::DoNotOptimize(file.meshes.data());
    }
}

void BM_ImportMillionTriangleStl(benchmark::State& state)
{
    const std::string model = WriteModel();
    for (auto _ : state) {
        orvrender::ImportedModel imported;
        std::string error;
        if (!orvrender::ImportModel(model, orvrender::ImportOptions(), imported, error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        benchmark::DoNotOptimize(imported.root.get());
    }
}

} // namespace

BENCHMARK(BM_OrvrenderMillionTrianglePick)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ReadMillionTriangleStl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImportMillionTriangleStl)->Unit(benchmark::kMillisecond);

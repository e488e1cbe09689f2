// Plots: sampling and colouring large surfaces.
//
// Matplot::Build of a 1000 x 1000-cell surface (1,002,001 vertices) with
// its grid lines: the colour of every vertex from the lookup table and the
// group of nodes. AddSurface alone: the function at every vertex, the
// normals and the grid-line indices.

#include <cmath>
#include <memory>

#include <benchmark/benchmark.h>

#include <orvcore/plot/Matplot.h>

using namespace orvcore;

namespace {

struct Waves : PlotSurfaceFunctor {
    glm::vec3 operator()(uint32_t i, uint32_t j, float, float) const override
    {
        const float x = float(i) * 0.01f, y = float(j) * 0.01f;
        return {x, y, std::sin(3.0f * x) * std::cos(2.0f * y) + 0.1f * x};
    }
};

constexpr float kCells = 1000.0f;

void BM_MatplotBuild(benchmark::State& state)
{
    Matplot plot("waves");
    if (!plot.AddSurface(PlotRange(0.0f, kCells, 1.0f), PlotRange(0.0f, kCells, 1.0f), Waves(), true)) {
        state.SkipWithError("the surface could not be added");
        return;
    }
    const auto map = ColorMapKeyword::Create("viridis");
    for (auto _ : state) {
        auto group = plot.Build(map);
        benchmark::DoNotOptimize(group.get());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(plot.GetSurface(0)->GetVertexCount()));
}
BENCHMARK(BM_MatplotBuild)->Unit(benchmark::kMillisecond);

void BM_MatplotAddSurface(benchmark::State& state)
{
    const bool gridLines = state.range(0) != 0;
    for (auto _ : state) {
        Matplot plot("waves");
        benchmark::DoNotOptimize(
            plot.AddSurface(PlotRange(0.0f, kCells, 1.0f), PlotRange(0.0f, kCells, 1.0f), Waves(), gridLines));
    }
    state.SetItemsProcessed(state.iterations() * int64_t((kCells + 1) * (kCells + 1)));
}
BENCHMARK(BM_MatplotAddSurface)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

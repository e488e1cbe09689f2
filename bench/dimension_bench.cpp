// Rebuilding dimensions, as a viewer does on every frame while the user drags
// a measured point: the cost of `Update` for each label facing and end mark,
// chains of growing length, and the label mesh alone (the glyph outlines
// triangulated by the font manager), which is the floor of an in-plane update.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include <orvkernel/text/FontManager.h>
#include <orvcore/dimension/AlignedDimensionNode.h>
#include <orvcore/dimension/LinearDimensionNode.h>

using namespace orvcore;

namespace {

// Moves the end point a little on every call, so that every update formats
// a new length (as a drag does) instead of repeating one label.
glm::vec3 DraggedEnd(int64_t step) { return glm::vec3(100.0f + 0.01f * float(step % 1000), 20.0f, 0.0f); }

void BM_DimensionAlignedUpdate(benchmark::State& state)
{
    const auto facing = static_cast<EnumDimensionLabelFacing>(state.range(0));
    const auto style = static_cast<EnumDimensionArrowStyle>(state.range(1));
    AlignedDimensionNode dimension(glm::vec3(0.0f), DraggedEnd(0), 10.0f, glm::vec3(0.0f, 0.0f, 1.0f), L"");
    dimension.SetLabelFacing(facing);
    dimension.SetArrowStyle(style);
    dimension.SetUnit(L" mm");
    int64_t step = 0;
    for (auto _ : state) {
        dimension.SetEndPoint(DraggedEnd(++step));
        dimension.Update();
        dimension.UpdateTransform(glm::mat4(1.0f));
        benchmark::DoNotOptimize(dimension.GetWorldBBox());
    }
    state.SetLabel(std::string(facing == DIMENSION_LABEL_IN_PLANE ? "in plane" : "facing camera") +
                   (style == DIMENSION_ARROW_FILLED ? ", arrowheads" : ", ticks"));
}
BENCHMARK(BM_DimensionAlignedUpdate)
    ->Args({DIMENSION_LABEL_IN_PLANE, DIMENSION_ARROW_FILLED})
    ->Args({DIMENSION_LABEL_IN_PLANE, DIMENSION_ARROW_TICK})
    ->Args({DIMENSION_LABEL_FACING_CAMERA, DIMENSION_ARROW_FILLED})
    ->Unit(benchmark::kMicrosecond);

// The label of the same dimension alone: its glyph mesh.
void BM_DimensionLabelMeshOnly(benchmark::State& state)
{
    int64_t step = 0;
    for (auto _ : state) {
        const float length = DraggedEnd(++step).x;
        auto mesh = FontManager::Instance().CreateMesh(DimensionNode::FormatLength(length, 2, L" mm"));
        benchmark::DoNotOptimize(mesh);
    }
}
BENCHMARK(BM_DimensionLabelMeshOnly)->Unit(benchmark::kMicrosecond);

// A chain of n points along X (n - 1 stretches, each with its label).
void BM_DimensionLinearChainUpdate(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    std::vector<glm::vec3> points;
    for (std::size_t i = 0; i < count; ++i)
        points.emplace_back(float(i) * 12.5f + float(i % 3), float(i % 5) * 2.0f, 0.0f);
    LinearDimensionNode dimension(points, 8.0f, glm::vec3(0.0f, 0.0f, 1.0f), glm::vec3(1.0f, 0.0f, 0.0f));
    int64_t step = 0;
    for (auto _ : state) {
        points.back().x = float(count) * 12.5f + 0.01f * float(++step % 1000);
        dimension.SetPoints(points);
        dimension.Update();
        dimension.UpdateTransform(glm::mat4(1.0f));
        benchmark::DoNotOptimize(dimension.GetWorldBBox());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(count - 1));
}
BENCHMARK(BM_DimensionLinearChainUpdate)->Arg(2)->Arg(8)->Arg(32)->Unit(benchmark::kMicrosecond);

} // namespace

#include <orvcore/widget/PlanarGridWidget.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "LogCapture.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::LogCapture;

namespace {

using Segment = std::pair<glm::vec3, glm::vec3>;
using Texts = std::vector<std::string>;

// The segments of one member of the grid's shape (0 major, 1 minor), in order.
std::vector<Segment> Lines(const PlanarGridWidget& grid, uint32_t member)
{
    std::vector<Segment> result;
    if (member >= grid.GetPrimitives().size())
        return result;
    const auto& positions = grid.GetPrimitives()[member]->GetGeometry()->GetPositions();
    for (std::size_t v = 0; v + 1 < positions->GetCount(); v += 2)
        result.emplace_back(positions->GetVec3(v), positions->GetVec3(v + 1));
    return result;
}

glm::mat4 Translation(float x, float y, float z) { return glm::translate(glm::mat4(1.0f), glm::vec3(x, y, z)); }

} // namespace

TEST(PlanarGridWidget, HalfCountsDecideTheLinesAndEveryGridSharesTwoMaterials)
{
    // Counts 0 and 1 still give one cell per side; odd counts lose the half cell.
    const std::pair<unsigned int, std::size_t> halves[] = {{0, 1}, {1, 1}, {5, 2}, {10, 5}};
    for (const auto& [count, half] : halves) {
        SCOPED_TRACE(count);
        PlanarGridWidget grid(1.0f, count, 4); // Y always 2 cells per side
        ASSERT_EQ(grid.GetPrimitives().size(), 2u);
        EXPECT_EQ(grid.GetPrimitive(0)->GetPrimitiveType(), PRIMITIVE_LINES);
        EXPECT_EQ(Lines(grid, 0).size(), (1 + 2 * half) + 5);
        EXPECT_EQ(Lines(grid, 1).size(), 8 * half + 16);
        EXPECT_EQ(grid.GetPrimitive(0)->GetMaterial(), PlanarGridWidget::PrimaryColor());
        EXPECT_EQ(grid.GetPrimitive(1)->GetMaterial(), PlanarGridWidget::SecondaryColor());
    }
    // Unclipped.
    EXPECT_EQ((PlanarGridWidget::PrimaryColor()->GetTemplateOptions() |
               PlanarGridWidget::SecondaryColor()->GetTemplateOptions()) & TEMPLATE_OPTION_CLIPPING, 0u);
}

TEST(PlanarGridWidget, MinorLinesBetweenMajorOnes)
{
    // Four minor lines in every cell of both directions, none on a major line.
    PlanarGridWidget odd(1.5f, 10, 7);
    std::vector<int> perCell(10 + 6, 0);
    for (const Segment& s : Lines(odd, 1)) {
        const bool alongY = s.first.x == s.second.x;
        const float cells = (alongY ? s.first.x : s.first.y) / 1.5f;
        EXPECT_GT(std::fabs(cells - std::round(cells)), 0.1f) << cells;
        ++perCell.at(static_cast<std::size_t>(std::floor(cells) + (alongY ? 5 : 13)));
    }
    EXPECT_EQ(perCell, std::vector<int>(16, 4));
}

TEST(PlanarGridWidget, UpdateRebuildsAndTheNodeBoxFollows)
{
    auto grid = std::make_shared<PlanarGridWidget>(1.0f, 4, 2);
    auto group = orvtest::Root({grid});
    EXPECT_EQ(group->GetWorldBBox(), AxisAlignedBox({-2, -1, 0}, {2, 1, 0}));

    grid->SetCellSize(3.0f);
    grid->SetCellCountX(6);
    grid->SetCellCountY(8);
    EXPECT_EQ(Lines(*grid, 0).size(), 8u); // setters do not rebuild
    grid->Update();
    EXPECT_EQ(grid->GetPrimitives().size(), 2u);
    EXPECT_EQ(Lines(*grid, 0).size(), 7u + 9u);
    EXPECT_NE(group->GetUpdateVersion(), 0u);
    group->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(group->GetWorldBBox(), AxisAlignedBox({-9, -12, 0}, {9, 12, 0}));
}

TEST(PlanarGridWidget, FitsAroundABox)
{
    PlanarGridWidget grid(1.0f, 2, 2);
    grid.FitToBoundingBox(AxisAlignedBox({-2.3f, -5.9f, 4}, {7.7f, -0.9f, 14})); // 10 x 5 at (2.7, -3.4, 9)
    EXPECT_EQ(grid.GetCellCountX(), 12u);
    EXPECT_EQ(grid.GetCellCountY(), 6u);
    EXPECT_EQ(grid.GetTransform(), Translation(2, -3, 0)); // toward zero, at z = 0
    grid.UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(grid.GetWorldBBox(), AxisAlignedBox({-4, -6, 0}, {8, 0, 0}));

    grid.SetCellSize(0.5f);
    grid.FitToBoundingBox(AxisAlignedBox({-0.5f, -1.05f, 0}, {0.5f, 1.05f, 0}));
    EXPECT_EQ(grid.GetCellCountX(), 2u); // 2.4 cells rounded
    EXPECT_EQ(grid.GetCellCountY(), 5u); // 5.04 cells rounded
    EXPECT_EQ(grid.GetTransform(), glm::mat4(1.0f));

    // An empty box gives the smallest grid at the origin.
    grid.FitToBoundingBox(AxisAlignedBox());
    EXPECT_EQ(grid.GetCellCountX(), 0u);
    EXPECT_EQ(Lines(grid, 0).size(), 6u);
}

TEST(PlanarGridWidget, BadInputWarnsAndNeverBuildsNonsense)
{
    LogCapture log;
    PlanarGridWidget grid(1.0f, 4, 4);
    grid.SetTransform(Translation(1, 2, 0));
    grid.FitToBoundingBox(AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE));
    grid.FitToBoundingBox(AxisAlignedBox({-1e30f, 0, 0}, {1e30f, 1, 0})); // counts past 32 bits
    grid.FitToBoundingBox(AxisAlignedBox({2e38f, 0, 0}, {3e38f, 1, 0}));   // centre overflows
    grid.SetCellSize(0.0f);
    grid.FitToBoundingBox(AxisAlignedBox({0, 0, 0}, {1, 1, 1}));
    EXPECT_EQ(log.warnings, (Texts{"Bounding box is not finite!", "Grid cell count is too large!",
                                   "Bounding box is not finite!", "Grid cell size is invalid!"}));
    EXPECT_EQ(grid.GetCellCountX(), 4u);
    EXPECT_EQ(grid.GetTransform(), Translation(1, 2, 0));
    EXPECT_EQ(Lines(grid, 0).size(), 10u);

    for (float size : {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN(), 1e38f}) {
        log.warnings.clear();
        PlanarGridWidget bad(size, 10, 10);
        EXPECT_EQ(log.warnings, Texts{"Grid cell size is invalid!"}) << size;
        EXPECT_TRUE(bad.GetPrimitives().empty());
        EXPECT_TRUE(bad.GetBoundingBox().isNull());
    }
    log.warnings.clear();
    PlanarGridWidget huge(1.0f, 4294967295u, 2);
    EXPECT_TRUE(huge.GetPrimitives().empty());
    PlanarGridWidget widest(1.0f, 2 * PlanarGridWidget::kMaxHalfCount + 1, 0); // the limit itself builds
    EXPECT_EQ(Lines(widest, 0).size(), 2u * PlanarGridWidget::kMaxHalfCount + 4);
    PlanarGridWidget shapeless(std::shared_ptr<CompoundShape>{});
    shapeless.Update();
    EXPECT_EQ(log.warnings, (Texts{"Grid cell count is too large!", "CompoundShape is null!"}));
}

TEST(CoordinateGridWidget, HitPositionUsesTheWorldPlacement)
{
    auto grid = std::make_shared<PlanarGridWidget>(1.0f, 4, 4);
    auto parent = orvtest::Group({grid});
    parent->SetTransform(Translation(0, 0, 3));
    grid->SetTransform(Translation(7, 0, 2));
    const Ray down(glm::vec3(1, 1, 10), glm::vec3(0, 0, -1));
    EXPECT_EQ(grid->HitPosition(down), std::make_pair(true, 10.0f)); // not updated yet
    parent->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(grid->HitPosition(down), std::make_pair(true, 5.0f));
    EXPECT_EQ(grid->HitPosition(Ray(glm::vec3(1, 1, 10), glm::vec3(0, 0, 1))), std::make_pair(false, -5.0f));

    // Stood upright at y = 4.
    grid->SetTransform(glm::rotate(Translation(0, 4, 0), glm::radians(90.0f), glm::vec3(1, 0, 0)));
    parent->UpdateTransform(glm::mat4(1.0f));
    const auto hit = grid->HitPosition(Ray(glm::vec3(2, -6, 3), glm::vec3(0, 1, 0)));
    EXPECT_TRUE(hit.first);
    EXPECT_NEAR(hit.second, 10.0f, 1e-4f);

    // A flattened grid keeps the ground plane.
    LogCapture log;
    grid->SetTransform(glm::scale(glm::mat4(1.0f), glm::vec3(1, 1, 0)));
    grid->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(grid->HitPosition(down), std::make_pair(true, 10.0f));
    EXPECT_EQ(log.warnings, Texts{"Matrix is singular!"});
}

TEST(CoordinateGridWidget, ClonesShareTheShape)
{
    auto grid = std::make_shared<PlanarGridWidget>(2.0f, 6, 4);
    grid->SetTransform(Translation(1, 2, 0));
    auto holder = grid->Clone();
    auto* copy = PlanarGridWidget::Cast(holder.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::make_tuple(copy->GetShape(), copy->GetTransform(), copy->GetCellSize(), copy->GetCellCountX()),
              std::make_tuple(grid->GetShape(), grid->GetTransform(), 2.0f, 6u));
    copy->SetCellCountX(10);
    copy->Update();
    EXPECT_EQ(Lines(*grid, 0).size(), 11u + 5u); // the original draws the same lines

    LogCapture log;
    CoordinateGridWidget base(grid->GetShape());
    base.FitToBoundingBox(AxisAlignedBox({0, 0, 0}, {10, 10, 10}));
    EXPECT_EQ(log.warnings, Texts{"NOT IMPLEMENTED!"});
    EXPECT_EQ(CoordinateGridWidget::Cast(base.Clone().get())->GetShape(), grid->GetShape());
}

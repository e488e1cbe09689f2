#include <orvcore/robot/RobotSelfCollider.h>

#include <orvkernel/collision/CollisionMesh.h>
#include <orvcore/collision/CollisionContext.h>
#include <orvcore/collision/CollisionItem.h>
#include <orvcore/collision/CollisionVisitor.h>
#include <orvcore/render/RenderContext.h>
#include <orvcore/robot/RobotLink.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

namespace {

// Receives a link's render items in walking order and brings the link's
// pieces up to date: a piece whose shape and collision mesh are the same
// as last time keeps its item and only takes the new world matrix.
class PieceGatherer : public RenderContext {
public:
    explicit PieceGatherer(RobotSelfCollider::LinkPieces& link) : RenderContext(nullptr), m_Link(link) {}

    void AddItem(RenderItem& item) override
    {
        if (!CollisionContext::IsCollidable(item))
            return;
        const PrimitiveShape* shape = item.GetPrimitive();
        std::shared_ptr<const CollisionMesh> mesh = shape->GetCollisionMesh();
        auto& pieces = m_Link.pieces;
        if (m_Link.count == pieces.size())
            pieces.emplace_back();
        RobotSelfCollider::Piece& piece = pieces[m_Link.count++];
        if (piece.shape != shape || piece.mesh != mesh || !piece.item) {
            piece.shape = shape;
            piece.item = std::make_shared<CollisionItem>(*shape, glm::mat4(1.0f));
            piece.mesh = std::move(mesh);
        }
        piece.world = item.GetTransform();
    }

private:
    RobotSelfCollider::LinkPieces& m_Link;
};

} // namespace

RobotSelfCollider::RobotSelfCollider() = default;
RobotSelfCollider::~RobotSelfCollider() = default;

std::vector<uint32_t> RobotSelfCollider::Test(const std::vector<std::shared_ptr<RobotLink>>& links)
{
    std::vector<uint32_t> result;
    const std::size_t n = links.size();
    if (n < 3)
        return result;
    ++m_Query;
    if (m_Links.size() != n)
        m_Links.resize(n);
    for (std::size_t i = 0; i + 2 < n; ++i) {
        const SceneNode* first = links[i] ? links[i]->GetVisualNode().get() : nullptr;
        if (!first)
            continue;
        for (std::size_t j = i + 2; j < n; ++j) {
            const SceneNode* second = links[j] ? links[j]->GetVisualNode().get() : nullptr;
            if (!second || !first->GetWorldBBox().intersects(second->GetWorldBBox()))
                continue;
            if (m_Links[i].walked != m_Query)
                Gather(*links[i], m_Links[i]);
            if (m_Links[j].walked != m_Query)
                Gather(*links[j], m_Links[j]);
            if (Touch(m_Links[i], m_Links[j])) {
                result.push_back(static_cast<uint32_t>(i));
                result.push_back(static_cast<uint32_t>(j));
            }
        }
    }
    return result;
}

void RobotSelfCollider::Gather(const RobotLink& link, LinkPieces& pieces)
{
    pieces.walked = m_Query;
    pieces.count = 0;
    PieceGatherer gatherer(pieces);
    CollisionVisitor visitor(gatherer);
    link.GetVisualNode()->Accept(visitor);
    // Pieces past the count belong to drawables that are gone.
    pieces.pieces.resize(pieces.count);
}

bool RobotSelfCollider::Touch(const LinkPieces& a, const LinkPieces& b)
{
    for (std::size_t p = 0; p < a.count; ++p) {
        const Piece& mine = a.pieces[p];
        for (std::size_t q = 0; q < b.count; ++q) {
            const Piece& theirs = b.pieces[q];
            if (mine.item->Intersects(mine.world, *theirs.item, theirs.world))
                return true;
        }
    }
    return false;
}

} // namespace orvcore

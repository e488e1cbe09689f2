#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>

namespace orvcore {

class CollisionItem;
class CollisionMesh;
class PrimitiveShape;
class RobotLink;

/// The self-collision query of an arm's links, with what it learns about
/// the links kept between queries.
///
/// Pairs (i, j) with j >= i + 2 whose visual nodes' world boxes intersect
/// are tested triangle against triangle, i ascending, then j; each pair that
/// touches appends i, then j. This is what detectors built on the two
/// visual nodes and prepared at their current world matrices would answer
/// (`NodeCollisionDetector::Test`), but nothing is rebuilt per query: every
/// drawable of a link keeps a collision item made once in its own
/// coordinates (the shape's collision mesh and tree are built once per
/// geometry), and a query places it at the drawable's current world matrix
/// with the posed item test. A link's subtree is walked the way a detector
/// walks it (`CollisionVisitor`), so drawables added, removed or given new
/// geometry are noticed on the next query.
///
/// Like the scene's detectors it reads the world matrices and boxes of the
/// last world update: call it after the scene (or the arm) was updated.
class RobotSelfCollider {
public:
    RobotSelfCollider();
    ~RobotSelfCollider();
    RobotSelfCollider(const RobotSelfCollider&) = delete;
    RobotSelfCollider& operator=(const RobotSelfCollider&) = delete;

    /// The colliding pairs as a flat list [i0, j0, i1, j1, ...]; empty at
    /// once for fewer than three links.
    std::vector<uint32_t> Test(const std::vector<std::shared_ptr<RobotLink>>& links);

    /// One drawable of a link: its shape, the collision item made for it at
    /// the identity, and its world matrix as of the last walk.
    struct Piece {
        const PrimitiveShape* shape = nullptr;
        std::shared_ptr<const CollisionMesh> mesh;
        std::shared_ptr<CollisionItem> item;
        glm::mat4 world{1.0f};
    };
    struct LinkPieces {
        std::vector<Piece> pieces;
        std::size_t count = 0;
        uint64_t walked = 0; // query in which the pieces were last gathered
    };

private:
    void Gather(const RobotLink& link, LinkPieces& pieces);
    static bool Touch(const LinkPieces& a, const LinkPieces& b);

    std::vector<LinkPieces> m_Links;
    uint64_t m_Query = 0;
};

} // namespace orvcore

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvcore {

/// A run of items of an attribute: `count` items from item `first`.
struct ItemRange {
    std::size_t first = 0;
    std::size_t count = 0;
};

/// Which items of an attribute were written at which versions, so that a
/// device holding a copy taken at an older version can send only what
/// changed since (partial uploads of streamed points and segments).
///
/// The log holds a few runs of items. A one-item write that continues the
/// newest run at the next version (`SetVec3` after `SetVec3` on the next
/// item) extends it, and such a run knows the version of each of its items:
/// a copy receives only the part written after it, so a ring buffer fed in
/// order costs what was written, in one range, two across the wrap-around.
/// Any other write opens a run. When the log is full its two oldest runs
/// merge into the run that spans both: copies then receive more than was
/// written, never less. A write without a range (`Reset`) forgets the runs:
/// older copies are sent whole.
class AttributeUpdateLog {
public:
    static constexpr std::size_t kCapacity = 8;

    /// Items [first, first + count) were written; `version` is the
    /// attribute's version after the write.
    void Record(uint32_t version, std::size_t first, std::size_t count);
    /// The attribute changed in ways the log does not know (at `version`).
    void Reset(uint32_t version);
    /// The runs written after `since`, up to `current`, sorted by first item
    /// with overlapping and touching runs merged. False when the log cannot
    /// tell (`since` precedes what it remembers): the copy must be sent whole.
    bool Collect(uint32_t since, uint32_t current, std::vector<ItemRange>& ranges) const;

private:
    struct Run {
        uint32_t firstVersion = 0; ///< version after the run's first write
        uint32_t version = 0;      ///< version after the run's last write
        std::size_t first = 0;
        std::size_t count = 0;
        /// Item j of the run was written at firstVersion + j.
        bool stepwise = false;
    };
    std::array<Run, kCapacity> m_Runs{};
    std::size_t m_Size = 0;
    /// Every write after this version is in the log.
    uint32_t m_Base = 0;
};

} // namespace orvcore

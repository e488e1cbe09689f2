#pragma once

#include <cstdint>

namespace orvcore {

/// Base of every kernel and scene object that needs an identity.
///
/// Each object gets an `ObjectId` at construction from a process-wide counter
/// that starts at 1 and only grows, so 0 never names an object and ids are
/// not reused while the process lives (the counter would need 2^32 objects to
/// wrap). A copy is a new object and gets a new id; assignment keeps the
/// target's id.
class GfxObject {
public:
    GfxObject();
    GfxObject(const GfxObject&);
    GfxObject& operator=(const GfxObject&) { return *this; }
    virtual ~GfxObject();

    uint32_t GetObjectId() const { return m_ObjectId; }

private:
    uint32_t m_ObjectId;
};

} // namespace orvcore

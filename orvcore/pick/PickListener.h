#pragma once

#include <orvcore/pick/PickedResult.h>

namespace orvcore {

/// The application's hook into selection and highlighting. A `Before` hook
/// that returns false vetoes the change; the `After` hooks report it.
class PickListener {
public:
    virtual ~PickListener();

    virtual bool BeforeSelect(const PickedResult& result);
    virtual void AfterSelect(const PickedResult& result);
    virtual bool BeforeHilight(const PickedResult& result);
    virtual void AfterHilight(const PickedResult& result);
};

} // namespace orvcore

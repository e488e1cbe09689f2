#include <orvcommon/TypedBuffer.h>

#include <orvcommon/Logger.h>

namespace orvcore {

void LogIndexOutOfRange() { Logger::Instance().Waring("Index is out of range!"); }

} // namespace orvcore

#pragma once

#include <string>
#include <vector>

#include <orvcommon/Logger.h>

namespace orvtest {

/// Captures every log record while alive, so tests can assert exact texts.
class LogCapture {
public:
    LogCapture()
    {
        orvcore::Logger::Instance().SetSink([this](orvcore::EnumLogLevel level, const std::string& text) {
            if (level == orvcore::EnumLogLevel::Warning)
                warnings.push_back(text);
            else
                others.push_back(text);
        });
    }
    ~LogCapture() { orvcore::Logger::Instance().ResetSink(); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> warnings;
    std::vector<std::string> others;
};

} // namespace orvtest

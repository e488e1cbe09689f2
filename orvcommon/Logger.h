#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace orvcore {

/// Severity of a log record.
enum class EnumLogLevel { Debug = 0, Info = 1, Warning = 2, Error = 3 };

/// Process-wide logger. Every recoverable failure of the library is reported
/// here with a fixed text and never thrown.
///
/// By default records at `Info` and above go to stderr as
/// `orvcore [warning] text`. Applications (and tests) install their own sink
/// to route or capture records; `ResetSink` restores stderr.
class Logger {
public:
    using Sink = std::function<void(EnumLogLevel, const std::string&)>;

    static Logger& Instance();

    /// Warning level; the name is kept as callers spell it.
    void Waring(std::string_view text);
    void Info(std::string_view text);
    void Error(std::string_view text);
    void Debug(std::string_view text);
    void Log(EnumLogLevel level, std::string_view text);

    /// Replaces the output. An empty function silences the logger.
    void SetSink(Sink sink);
    /// Restores the stderr sink.
    void ResetSink();

    /// Records below this level are dropped before reaching the sink.
    void SetLevel(EnumLogLevel level) { m_Level = level; }
    EnumLogLevel GetLevel() const { return m_Level; }

    static const char* LevelName(EnumLogLevel level);

private:
    Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    Sink m_Sink;
    EnumLogLevel m_Level = EnumLogLevel::Info;
};

} // namespace orvcore

#include <gtest/gtest.h>

#include <orvview/ViewerScript.h>

using orvview::ViewerScript;

// Lines are read into time order; lines missing arguments, with unknown
// commands or non-numbers are dropped (running them could not work).
TEST(ViewerScript, KeepsOnlyLinesThatCanRun)
{
    ViewerScript script;
    ASSERT_TRUE(script.Parse("2.0 click 10 20 ctrl   # comment\n"
                             "\n"
                             "0.5 move 1 2\n"
                             "1.0 click 10\n"          // a coordinate missing
                             "1.0 drag 1 2 3 x\n"      // not a number
                             "-1 move 1 2\n"           // before the start
                             "1.5 jump 3 4\n"          // unknown command
                             "1.5 key\n"               // no key
                             "nan move 1 2\n"          // no time
                             "3.0 screenshot out.png\n"
                             "2.5 key F shift\n"
                             "4 quit\n",
                             "test"));
    const auto& events = script.GetEvents();
    ASSERT_EQ(events.size(), 5u);
    const char* commands[] = {"move", "click", "key", "screenshot", "quit"};
    const int lines[] = {3, 1, 11, 10, 12};
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].words[0], commands[i]);
        EXPECT_EQ(events[i].line, lines[i]);
    }
    EXPECT_EQ(events[1].words.size(), 4u); // click 10 20 ctrl
    EXPECT_DOUBLE_EQ(script.UntilNext(0.0), 0.0); // not started: at once
    EXPECT_FALSE(script.IsDone());
}

// The command line read into session commands: no session behind it, so each
// rule is one row of a table.
#include "app/session/command_line.h"

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>

#include "app/session/scheduled_end.h"

using namespace vocarta;

namespace {

std::vector<std::string> Line(const std::string& text) {
    std::vector<std::string> args = {"vocarta"};
    std::string word;
    for (char c : text + " ") {
        if (c != ' ') {
            word += c;
        } else if (!word.empty()) {
            args.push_back(word == "_" ? std::string() : word);
            word.clear();
        }
    }
    return args;
}

// The commands as "kind[/format][/text][/number]" words, and the problems.
std::string Describe(const ParsedCommandLine& parsed) {
    std::string out;
    for (const SessionCommand& c : parsed.commands) {
        if (!out.empty()) out += ' ';
        out += c.Describe();
    }
    for (const std::string& p : parsed.errors)
        out += (out.empty() ? "!" : " !") + p.substr(0, p.find(' '));
    for (const std::string& p : parsed.notes)
        out += (out.empty() ? "?" : " ?") + p.substr(0, p.find(' '));
    return out;
}

TEST(CommandLine, EachSwitchBecomesItsCommand) {
    const struct {
        const char* line;
        const char* commands;
    } rows[] = {
        {"-RECORD MP3", "record mp3"},
        {"-record", "record"},
        {"-record ogg", "record ?unknown"},  // not a format word: left for the loop
        {"-resume -pause -restart -stop -play -done", "record pause restart stop play done"},
        {"-hide -show -exit -exitifstop -RunInBackground", "hide show exit exitifstop exitifstop"},
        {"-runinbackground", "?unknown"},  // the one switch that must match exactly
        {"-outdir /x/y -ms 1500", "outdir /x/y ms 1500"},
        {"-recordfile /x/a.ogg", "recordfile /x/a.ogg"},
        {"-PLAYFILE /x/a.ogg -stop", "playfile /x/a.ogg stop"},
        {"-playfile -stop", "stop !-playfile"},
        {"-record aif -s 22050 -m 1 -hide", "record aiff (encoder options) hide"},
        {"-record mp3 -cbr -b 128 -h -m j -p -stop", "record mp3 (encoder options) stop"},
        // The encoder options end at the program's own switches.
        {"-record wav -ms 5000", "record wav ms 5000"},
        {"-record mp3 -ms 5000", "record mp3 ms 5000"},
        {"-record wav -s 22050 -m 1 -ms 2500", "record wav ms 2500"},
        {"-recordfile /x/a.flac -c 5 -outdir /y",
         "recordfile /x/a.flac (encoder options) outdir /y"},
        // A switch that needs its argument: last, or followed by a switch.
        {"-outdir", "!-outdir"},
        {"-ms", "!-ms"},
        {"-recordfile -stop", "stop !-recordfile"},
        {"-scheduled_launch", "!-scheduled_launch"},
        // Values that cannot be used are refused, never half taken.
        {"-ms -5", "!-ms"},
        {"-ms 1e3", "!-ms"},
        {"-ms 999999999999", "!-ms"},
        {"-ms abc -stop", "stop !-ms"},
        {"-scheduled_launch 25:00:00", "!-scheduled_launch"},
        {"-scheduled_launch 12:61:00", "!-scheduled_launch"},
        {"-scheduled_launch -1:00:00", "!-scheduled_launch"},
        {"-scheduled_launch 13:05:00", "scheduled_launch 13:05:00"},
        {"-scheduled_launch 13:05:00 News -RunInBackground",
         "scheduled_launch 13:05:00 \"News\" -RunInBackground"},
        // As the launch agents pass it: one argument; only the time at its front is read.
        {"-scheduled_launch 7:00:00_News", "scheduled_launch 7:00:00"},
        {"-scheduled_launch 7:00:00 -exitifstop", "scheduled_launch 7:00:00 exitifstop"},
        {"-logon -surveysched", ""},
    };
    for (const auto& row : rows) {
        std::vector<std::string> args = Line(row.line);
        // "7:00:00_News": the underscore stands for a blank inside one argument.
        for (std::string& a : args)
            if (a.find('_') != std::string::npos && a[0] != '-') a.replace(a.find('_'), 1, " ");
        EXPECT_EQ(Describe(ParseCommandLine(args)), row.commands) << row.line;
    }
}

TEST(CommandLine, LaunchOptionsAreTakenOutAndPathsMarked) {
    ParsedCommandLine p = ParseCommandLine(
        Line("-nogui -record mp3 -cbr -b 128 -h -m j -p -outdir rel -devices -recordfile a.wav "
             "-findrecordings -playfile b.ogg"));
    EXPECT_TRUE(p.noGui && p.listDevices && p.findRecordings);
    EXPECT_FALSE(p.help) << "-h in the MP3 options is the high-quality word, not help";
    EXPECT_EQ(p.forward, Line("-record mp3 -cbr -b 128 -h -m j -p -outdir rel -recordfile a.wav "
                              "-playfile b.ogg"));
    std::vector<std::string> marked;
    for (std::size_t at : p.pathPositions) marked.push_back(p.forward.at(at));
    EXPECT_EQ(marked, (std::vector<std::string>{"rel", "a.wav", "b.ogg"}));
    for (const char* h : {"-h", "--help"}) EXPECT_TRUE(ParseCommandLine(Line(h)).help) << h;
    for (const char* v : {"-V", "--VERSION"}) EXPECT_TRUE(ParseCommandLine(Line(v)).version) << v;
    EXPECT_TRUE(!IsProgramSwitch("-h") && IsProgramSwitch("-MS") &&
                !IsProgramSwitch("-runinbackground"));
}

// The help text and manual page are written by hand: every switch they name
// must be one the program reads, so a renamed switch cannot leave them behind.
TEST(CommandLine, HelpNamesOnlyRealSwitches) {
    std::ifstream in(std::string(VOCARTA_SOURCE_DIR) + "/data/help/vocarta.help");
    ASSERT_TRUE(in) << "data/help/vocarta.help";
    std::string line;
    int entries = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] != '-') continue;
        const std::string word = line.substr(0, line.find_first_of(" ,"));
        EXPECT_TRUE(IsProgramSwitch(word) || word == "-h") << word;
        ++entries;
    }
    EXPECT_GE(entries, 20);
}

TEST(ScheduledEnd, DateArithmetic) {
    for (const auto& [two, four] :
         {std::pair{24, 2024}, std::pair{69, 2069}, std::pair{99, 1999}, std::pair{2031, 2031}})
        EXPECT_EQ(FullYear(two), four);
    std::tm noon{};
    noon.tm_year = 124, noon.tm_mon = 4, noon.tm_mday = 1, noon.tm_hour = 12, noon.tm_isdst = -1;
    const std::time_t now = std::mktime(&noon);
    // Already past today: the same time tomorrow. Only the time at the front is read.
    const struct {
        const char *time, *date;
        int seconds;  // -1: refused
    } cases[] = {{"13:30:00", "24-5-1", 5400},
                 {"11:00:00", "2024-5-1", 23 * 3600},
                 {"13:00:00 Morning show -RunInBackground", "2024-5-1", 3600},
                 {"13:00", "2024-5-1", -1},
                 {"25:00:00", "2024-5-1", -1},
                 {"soon", "2024-5-1", -1}};
    for (const auto& c : cases) {
        std::time_t end = 0;
        const bool read = ScheduledEndTime(c.time, c.date, now, end);
        EXPECT_EQ(read ? int(end - now) : -1, c.seconds) << c.time;
    }
}

}  // namespace

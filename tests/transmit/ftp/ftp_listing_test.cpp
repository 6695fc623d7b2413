// Folder listings as real servers send them: a corpus of LIST and MLSD lines in
// the forms servers and locales produce, each with the entry it must give, and
// garbage put at every position of every line, which must never break the
// parser or let an entry through that could steer a later command.

#include "transmit/ftp/ftp_listing.h"

#include <gtest/gtest.h>

#include <optional>

using namespace vocarta;

namespace {

using T = FtpEntryType;

struct Sample {
    std::string line;
    std::optional<FtpListEntry> entry;  // nullopt: not an entry
};

FtpListEntry E(const char* name, T type, int64_t size) {
    return {name, type, size, ""};
}

const std::vector<Sample>& ListCorpus() {
    static const std::vector<Sample> corpus = {
        // Unix, GNU ls with owner and group.
        {"-rw-r--r--    1 ftp      ftp       1048576 Jan 10 12:34 take.wav",
         E("take.wav", T::kFile, 1048576)},
        {"-rw-r--r-- 1 user group 0 Feb  3  2021 empty.mp3", E("empty.mp3", T::kFile, 0)},
        {"drwxr-xr-x    2 ftp      ftp          4096 Mar 01 09:00 upload",
         E("upload", T::kFolder, 4096)},
        {"-rw-rw-r--   1 1000 1000 123456789012 Dec 31 23:59 big file.flac",
         E("big file.flac", T::kFile, 123456789012)},
        {"-rwxr-xr-x 1 root root 52 Apr 5 2020  two  spaces.sh", E("two  spaces.sh", T::kFile, 52)},
        {"-rw-r--r--+ 1 u g 7 May 6 07:08 acl.txt", E("acl.txt", T::kFile, 7)},
        {"-rw-r--r--@ 1 u staff 8 Jun 7 2019 mac.txt", E("mac.txt", T::kFile, 8)},
        {"-rw-r--r-- 1 jan staff 9 Jul 8 10:11 owner named jan", E("owner named jan", T::kFile, 9)},
        {"-rw-r--r-- 1 u g 10 Aug 9 11:12 Jan 10 12:34 date in name",
         E("Jan 10 12:34 date in name", T::kFile, 10)},
        {"-rw-r--r-- 1 u g 11 Sep 10 2018 -rw-r--r--", E("-rw-r--r--", T::kFile, 11)},
        {"-rw-r--r-- 1 u g 12 Oct 11 12:13 Aufnahme März.wav",
         E("Aufnahme März.wav", T::kFile, 12)},
        {"-rw-r--r--\t1 u g\t14 Dec 13\t14:15 tabs.wav", E("tabs.wav", T::kFile, 14)},
        {"-rw-r--r-- 1 u g 15 january 15 2022 long month", E("long month", T::kFile, 15)},
        // Unix without the group (some servers leave it out).
        {"-rw-r--r--   1 ftp   2048 Jan 10 12:34 nogroup.wav", E("nogroup.wav", T::kFile, 2048)},
        {"-rw-r--r-- 1 10 20 Mar 12 01:02 numeric", E("numeric", T::kFile, 20)},
        // Links and other types.
        {"lrwxrwxrwx 1 u g 7 Jan 1 2020 latest -> take.wav", E("latest", T::kLink, 7)},
        {"lrwxrwxrwx 1 u g 11 Feb 2 03:04 a b -> c d", E("a b", T::kLink, 11)},
        {"lrwxrwxrwx 1 u g 4 Apr 4 04:04 noarrow", E("noarrow", T::kLink, 4)},
        {"brw-rw---- 1 root disk 8, 0 Jan 1 00:00 sda", E("sda", T::kOther, 0)},
        {"crw-rw-rw- 1 root root 1, 3 Feb 2 00:00 null", E("null", T::kOther, 3)},
        {"prw-r--r-- 1 u g 0 Apr 4 12:00 fifo", E("fifo", T::kOther, 0)},
        {"-rw-r--r-- 1 u g 321 2023-01-10 12:34 iso.wav", E("iso.wav", T::kFile, 321)},
        // DOS and IIS.
        {"01-10-23  12:34PM       <DIR>          Recordings", E("Recordings", T::kFolder, -1)},
        {"01-10-23  12:34PM             1,048,576 take.wav", E("take.wav", T::kFile, 1048576)},
        {"12-31-2023  11:59AM                  123 small.wav", E("small.wav", T::kFile, 123)},
        {"2023-01-10  14:05       <DIR>          new folder", E("new folder", T::kFolder, -1)},
        {"10.01.2023  14:05            98,765,432 Aufnahme.wav",
         E("Aufnahme.wav", T::kFile, 98765432)},
        {"01/10/2023  02:05 PM        1,234 spaced pm.wav", E("spaced pm.wav", T::kFile, 1234)},
        {"01-10-23  12:34PM  <JUNCTION>     link", E("link", T::kLink, -1)},
        {"01-10-23  12:34PM  0 zero.wav", E("zero.wav", T::kFile, 0)},
        {"01-10-23  12:34am  <dir>  lower", E("lower", T::kFolder, -1)},
        {"01-10-23  12:34PM  1,2345 bad commas", E("bad commas", T::kFile, 12345)},
        // Month names in other languages and code pages read as the months
        // test below shows; here the forms around them: the day first, a day
        // or year with its East-Asian mark, a name in a single-byte code page.
        {"-rw-r--r-- 1 u g 101 M\xE4r 3 10:00 maerz-latin1", E("maerz-latin1", T::kFile, 101)},
        {"-rw-r--r-- 1 u g 105 10. Jan 12:34 tag zuerst", E("tag zuerst", T::kFile, 105)},
        {"-rw-r--r-- 1 u g 208 \xF1\xE5\xED 5 05:00 \xF4\xE0\xE9\xEB",
         E("\xF4\xE0\xE9\xEB", T::kFile, 208)},
        {"-rw-r--r-- 1 u g 301 12月 25  2019 kurisumasu", E("kurisumasu", T::kFile, 301)},
        {"drwxr-xr-x 2 u g 4096 3月 3日 10:00 hinamatsuri", E("hinamatsuri", T::kFolder, 4096)},
        {"-rw-r--r-- 1 u g 306 7月 7 2015年 qixi", E("qixi", T::kFile, 306)},
        {"-rw-r--r-- 1 u g 402 sept9 9 09:09 c-sept", E("c-sept", T::kFile, 402)},
        // Lines that are not entries, and entries that must never come back.
        {"total 48", std::nullopt},
        {"", std::nullopt},
        {"drwxr-xr-x 2 u g 4096 Jan 10 12:34 .", std::nullopt},
        {"drwxr-xr-x 9 u g 4096 Jan 10 12:34 ..", std::nullopt},
        {"-rw-r--r-- 1 u g 5 Jan 10 12:34 ../../etc/passwd", std::nullopt},
        {"-rw-r--r-- 1 u g 5 Jan 10 12:34 /", std::nullopt},
        {"-rw-r--r-- 1 u g 5 Jan 10 12:34 sub/file", std::nullopt},
        {"01-10-23  12:34PM       <DIR>          ..", std::nullopt},
        {"-rw-r--r-- 1 u g 5 Foo 10 12:34 no month", std::nullopt},
        {"Permission denied", std::nullopt},
    };
    return corpus;
}

const std::vector<Sample>& MlsdCorpus() {
    static const std::vector<Sample> corpus = {
        {"type=file;size=1048576;modify=20240102030405; take.wav",
         FtpListEntry{"take.wav", T::kFile, 1048576, "20240102030405"}},
        {"Type=File;Size=7;Modify=20200101000000.123;Perm=rw; Caps Facts.wav",
         FtpListEntry{"Caps Facts.wav", T::kFile, 7, "20200101000000.123"}},
        {"type=dir;modify=20240102030405;perm=flcdmpe; Recordings",
         FtpListEntry{"Recordings", T::kFolder, -1, "20240102030405"}},
        {"type=dir;sizd=4096; sized dir", E("sized dir", T::kFolder, 4096)},
        {"type=OS.unix=slink:/srv/x;size=3; link", E("link", T::kLink, 3)},
        {"type=slink; short link", E("short link", T::kLink, -1)},
        {"size=5; untyped", E("untyped", T::kFile, 5)},
        {"type=file;size=9;  leading blank", E(" leading blank", T::kFile, 9)},
        {"type=file;UNIX.mode=0644;UNIX.owner=ftp; owner.txt", E("owner.txt", T::kFile, -1)},
        {"type=cdir;modify=20240102030405; /home/ftp", std::nullopt},
        {"type=pdir; ..", std::nullopt},
        {"type=file;size=1; a/b", std::nullopt},
        {"no facts here", std::nullopt},
    };
    return corpus;
}

TEST(FtpListingTest, CorpusLinesGiveTheirNameTypeAndSize) {
    for (const auto* corpus : {&ListCorpus(), &MlsdCorpus()}) {
        for (const Sample& s : *corpus) {
            EXPECT_EQ(corpus == &MlsdCorpus() ? ParseMlsdLine(s.line) : ParseListLine(s.line),
                      s.entry)
                << s.line;
        }
    }
}

TEST(FtpListingTest, AListingIsReadLineByLine) {
    std::string listing;
    std::size_t expected = 0;
    for (const Sample& s : ListCorpus()) {
        listing += s.line + (expected % 2 ? "\r\n" : "\n");
        expected += s.entry.has_value();
    }
    EXPECT_EQ(ParseListing(listing, false).size(), expected);
    EXPECT_EQ(ParseListing("type=file;size=1; a\r\ntype=dir; b\r\n", true),
              (std::vector<FtpListEntry>{E("a", T::kFile, 1), E("b", T::kFolder, -1)}));
}

// Month tokens as servers in many locales send them: UTF-8, Latin-1,
// Windows-1251, KOI8-R, DOS 866, East-Asian numbers with their mark (UTF-8,
// Shift_JIS, GBK, EUC-KR) and the compact English form ending in a digit.
TEST(FtpListingTest, MonthsInEveryFormTheServersUse) {
    const char* byMonth[] = {"Jan|ene|gen|янв|\xFF\xED\xE2|1月|jan1",
                             "FEB|févr.|\xC6\xC5\xD7",
                             "märz|Mär|M\xE4r|mrt|\xAC\xA0\xE0",
                             "Avr.|4\x8C\x8E",
                             "may5|Mai|mag|maj|\xEC\xE0\xE9|5\xD4\xC2",
                             "Juin|6\xBF\xF9",
                             "lug|juil.|7月",
                             "AOÛT|août|ao\xFBt|ago",
                             "wrz|sept9|\xF1\xE5\xED",
                             "oct0|Okt|ott|out|paź|\xCF\xCB\xD4",
                             "\xED\xEE\xFF|nov1|11월",
                             ("12\xE6\x9C\x88|Dez|dic|d\xE9"
                              "c.|Дек|\xC4\xE5\xEA|dec2")};  // split: \xE9c would be one escape
    for (int month = 1; month <= 12; ++month) {
        std::string_view tokens = byMonth[month - 1];
        for (std::size_t at = 0, end; at < tokens.size(); at = end + 1) {
            end = std::min(tokens.find('|', at), tokens.size());
            EXPECT_EQ(ParseListMonth(tokens.substr(at, end - at)), month)
                << tokens.substr(at, end - at);
        }
    }
    for (std::string token : {"13\xE6\x9C\x88", "0\xE6\x9C\x88", "jan2", "", "J", "janu",
                              "\xFF\xFF\xFF", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"})
        EXPECT_EQ(ParseListMonth(token), 0) << token;
}

TEST(FtpListingTest, GarbageAtEveryPositionNeverBreaksTheParser) {
    std::vector<std::string> garbage = {
        "\xFF\xFE", " -> ", "<DIR>",    ";", "=", "\r\n", " ", "/", "99999999999999999999999",
        "\xE6\x9C", "..",   "type=dir;"};
    garbage.insert(garbage.end(), {std::string(1, '\0'), std::string(3000, 'x')});
    std::size_t parsed = 0;
    for (const auto* corpus : {&ListCorpus(), &MlsdCorpus()}) {
        for (const Sample& s : *corpus) {
            for (std::size_t at = 0; at <= s.line.size(); ++at) {
                for (const std::string& g : garbage) {
                    std::string line = s.line;
                    line.insert(at, g);
                    for (auto entry : {ParseListLine(line), ParseMlsdLine(line)}) {
                        if (!entry) continue;
                        ++parsed;
                        ASSERT_TRUE(IsListableName(entry->name)) << line;
                        ASSERT_GE(entry->size, -1);
                    }
                    for (const FtpListEntry& e : ParseListing(line, at % 2 == 0))
                        ASSERT_TRUE(IsListableName(e.name)) << line;
                }
            }
        }
    }
    EXPECT_GT(parsed, 0u);
}

}  // namespace

#include "TestFiles.h"

#include "common/IniFile.h"
#include "common/TextCodec.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>
#include <sys/stat.h>

using namespace pv;

namespace {

QByteArray readAll(const QString& path)
{
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly));
    return f.readAll();
}

struct EditCase
{
    const char* before;
    std::function<void(IniDocument&)> edit;
    const char* after;
};

} // namespace

TEST(IniDocument, EditsTouchOnlyTheirLines)
{
    using E = IniDocument&;
    const EditCase cases[] = {
        {"[A]\nx=1\n\n[B]\ny=2\n", [](E d) { d.setValue("A", "z", "3"); }, "[A]\nx=1\nz=3\n\n[B]\ny=2\n"},
        {"; kept\n[A]\nx=1\n", [](E d) { d.setValue("B", "k", "v"); }, "; kept\n[A]\nx=1\n[B]\nk=v\n"},
        {"[a]\nKey=1\no=2\n", [](E d) { d.setValue("A", "KEY", "9"); }, "[a]\nKey=9\no=2\n"}, // place and spelling kept
        {"[A]\nx=1\nY=2\nz=3\n", [](E d) { d.removeKey("a", "y"); }, "[A]\nx=1\nz=3\n"},
        {"[A]\nx=1\n[B]\ny=2\n[C]\n", [](E d) { d.removeSection("b"); }, "[A]\nx=1\n[C]\n"},
        {"[H]\n1=a\n2=b\n",
         [](E d) { d.setValue("H", "n", QString::number(d.removeKeys("H", QString("1 ?").split(' ')))); },
         "[H]\n2=b\nn=1\n"},
        {"[A]\n", [](E d) { d.setValue("A", "k", "a=b|c=d"); }, "[A]\nk=a=b|c=d\n"},
        {"[A]\nx=1\n[B]\n", [](E d) { d.replaceSection("A", {"n=2"}); }, "[A]\nn=2\n[B]\n"},
        {"[A]\r\nx=1", [](E d) { d.setValue("A", "y", "2"); }, "[A]\nx=1\ny=2\n"}, // CRLF, no final newline
        {"[A]\nx=1\n", [](E d) { d.removeKey("Z", "x"); }, "[A]\nx=1\n"},
    };
    for (const auto& c : cases) {
        IniDocument doc = IniDocument::parse(QString::fromUtf8(c.before));
        c.edit(doc);
        EXPECT_EQ(doc.serialize().toStdString(), c.after) << c.before;
    }
}

TEST(IniDocument, ReadsIgnoreCaseAndKeepFileOrder)
{
    const auto doc = IniDocument::parse(
        "top=0\n[General]\n; comment\n  Langue = FRA\nbroken line\n\n[general]\nLangue=ENG\n[Msg]\nb=2\na=1\n");
    EXPECT_EQ(doc.value("GENERAL", "langue").value_or("none"), " FRA"); // first section wins, value verbatim
    EXPECT_FALSE(doc.value("General", "missing").has_value());
    EXPECT_FALSE(doc.value("Nowhere", "top").has_value());
    EXPECT_EQ(doc.sectionLines("msg"), QStringList({"b=2", "a=1"}));
    EXPECT_EQ(doc.sectionLines("General"), QStringList({"Langue = FRA", "broken line"}));
    EXPECT_EQ(doc.sectionNames(), QStringList({"General", "general", "Msg"}));
}

TEST(IniFile, ReadsRespectTheBufferLimits)
{
    QTemporaryDir dir;
    IniFile ini(dir.filePath("f.ini"));
    ini.update([](IniDocument& d) {
        d.setValue("S", "k1", QString(10, 'a')); // 13 characters + terminator
        d.setValue("S", "k2", QString(10, 'b'));
    });
    // One line takes 14, the list one more: 15 holds one line, 29 holds both, 28 only the first.
    EXPECT_EQ(ini.readSection("S", 15).size(), 1);
    EXPECT_EQ(ini.readSection("S", 28).size(), 1);
    EXPECT_EQ(ini.readSection("S", 29).size(), 2);
    EXPECT_TRUE(ini.readSection("S", 2).isEmpty());

    ini.writeString("S", "long", QString(40000, 'x'));
    EXPECT_EQ(ini.value("S", "long")->size(), IniFile::SectionLimit - 1);
}

TEST(IniFile, MissingFileReadsEmptyAndFirstWriteCreatesIt)
{
    QTemporaryDir dir;
    IniFile ini(dir.filePath("sub/folder/new.ini"));
    EXPECT_TRUE(ini.readSection("S").isEmpty());
    EXPECT_EQ(ini.readString("S", "k", "fallback"), "fallback");
    ini.removeSection("S");
    EXPECT_FALSE(QFile::exists(ini.path())) << "an edit that changes nothing writes nothing";
    ini.writeString("S", "k", "v");
    EXPECT_EQ(readAll(ini.path()), "[S]\nk=v\n");
    struct stat st;
    ASSERT_EQ(::stat(QFile::encodeName(ini.path()).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u) << "personal data is private by default";
    ini.writeString("S", "k", std::nullopt);
    EXPECT_EQ(readAll(ini.path()), "[S]\n");
    ini.update([](IniDocument& d) { d.replaceSection("S", {"a=1"}); });
    EXPECT_EQ(readAll(ini.path()), "[S]\na=1\n") << "a replaced section is written";
}

TEST(IniFile, Windows1252FileIsReadAndWrittenBackAsUtf8)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("old.pv");
    // "Réunion" and a pilcrow line break, as a Windows program wrote them.
    ASSERT_TRUE(test::writeFile(path, "[PredefinedMessage]\n20030101120000=R\xE9union\xB6\x80 5\n"));
    IniFile ini(path);
    EXPECT_EQ(ini.readString("PredefinedMessage", "20030101120000"), QString::fromUtf8("Réunion¶€ 5"));
    ini.writeString("User", "PC1", "Desk|0");
    const QByteArray bytes = readAll(path);
    EXPECT_TRUE(isValidUtf8(bytes));
    EXPECT_TRUE(bytes.contains("R\xC3\xA9union\xC2\xB6\xE2\x82\xAC 5"));
}

TEST(TextCodec, Utf8Validation)
{
    const std::pair<QByteArray, bool> cases[] = {
        {"plain ascii", true},
        {"caf\xC3\xA9", true},
        {"\xE2\x82\xAC\xF0\x9F\x98\x80", true},
        {"caf\xE9", false},          // Latin-1 byte
        {"\xC3", false},             // cut short
        {"\xC0\xAF", false},         // overlong
        {"\xED\xA0\x80", false},     // surrogate
        {"\xF4\x90\x80\x80", false}, // past U+10FFFF
    };
    for (const auto& [bytes, valid] : cases) {
        EXPECT_EQ(isValidUtf8(bytes), valid) << bytes.toHex().toStdString();
    }
    EXPECT_EQ(decodeTextFile("\xEF\xBB\xBFok"), "ok");
    EXPECT_EQ(decodeWindows1252("\x80\x92\x9F\xA0\xFF"), QString::fromUtf8("€’Ÿ\u00A0ÿ"));
}

#include "TestFiles.h"

#include "common/Error.h"
#include "common/IniFile.h"
#include "common/TextCodec.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace pv;

namespace {

QByteArray readAll(const QString& path)
{
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly));
    return f.readAll();
}

// Root reads every file: for the life of this guard the calling thread has no capability left, so that a file's
// mode bars it as it bars the file's owner.
class AsPlainOwner
{
public:
    AsPlainOwner()
    {
        ::syscall(SYS_capget, &m_header, m_saved);
        __user_cap_data_struct none[2] = {m_saved[0], m_saved[1]};
        none[0].effective = none[1].effective = 0;
        ::syscall(SYS_capset, &m_header, none);
    }
    ~AsPlainOwner() { ::syscall(SYS_capset, &m_header, m_saved); }
    AsPlainOwner(const AsPlainOwner&) = delete;
    AsPlainOwner& operator=(const AsPlainOwner&) = delete;

private:
    __user_cap_header_struct m_header {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_saved[2] {};
};

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

TEST(IniDocument, EveryKeyWrittenReadsBack)
{
    IniDocument doc = IniDocument::parse("[S]\nold=1\n");
    // A comment, a section header (with a "]" in the value), a split line, nothing.
    for (const char* key : {"#Sales", ";x", "  #x", "[x", "a=b", "a\nb", "a\rb", "", " "}) {
        EXPECT_THROW(doc.setValue("S", key, "v]"), Error) << key;
    }
    EXPECT_FALSE(doc.isModified());
    const QStringList fine {"Sales#", "a;b", "x[y]", "PC-12", QString::fromUtf8("é")};
    for (const QString& key : fine) {
        doc.setValue("S", key, "v]");
    }
    QStringList keys;
    for (const QString& line : IniDocument::parse(doc.serialize()).sectionLines("S")) {
        keys.append(iniLineKey(line));
    }
    EXPECT_EQ(keys, QStringList {"old"} + fine);
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
    // One line takes 14, the list one more: 15 holds one line, 29 holds both, 28 only the newest.
    EXPECT_EQ(ini.readSection("S", 15), QStringList {"k2=bbbbbbbbbb"});
    EXPECT_EQ(ini.readSection("S", 28), QStringList {"k2=bbbbbbbbbb"});
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

TEST(IniFile, UnreadableFileIsNeverReplaced)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("Pilvanor.pv");
    const QByteArray before = "[User]\nPC1=Alice|0\n[IncomingMessage]\n20260101000000000=PC1|hello\n";
    ASSERT_TRUE(test::writeFile(path, before));
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0), 0);
    IniFile ini(path);
    const std::function<void()> writes[] = {
        [&] { ini.writeString("User", "PC2", "Bob|0"); },
        [&] { ini.writeString("User", "PC1", std::nullopt); },
        [&] { ini.removeSection("IncomingMessage"); },
        [&] { ini.update([](IniDocument& d) { d.setValue("Group", "G", "PC1"); }); },
    };
    {
        AsPlainOwner guard;
        EXPECT_THROW(ini.load(), Error);
        EXPECT_TRUE(ini.readSection("User").isEmpty()) << "reads show what they can";
        for (const auto& write : writes) {
            try {
                write();
                ADD_FAILURE() << "a write over a file that cannot be read went through";
            } catch (const Error& e) {
                EXPECT_TRUE(e.text().startsWith("Cannot write " + path + ": ")) << e.what();
                EXPECT_EQ(e.number(), EACCES);
            }
        }
    }
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0600), 0);
    EXPECT_EQ(readAll(path), before);

    // A folder that takes the new file but cannot be opened to sync it: the write is not durable and says so.
    const QString closed = dir.filePath("closed");
    ASSERT_TRUE(QDir().mkpath(closed));
    ASSERT_EQ(::chmod(QFile::encodeName(closed).constData(), 0300), 0);
    {
        AsPlainOwner guard;
        try {
            IniFile(closed + "/Pilvanor.conf").writeString("S", "k", "v");
            ADD_FAILURE() << "a write whose folder was not synced went through";
        } catch (const Error& e) {
            EXPECT_EQ(e.text(), "Cannot write " + closed + "/Pilvanor.conf: " + strerror(EACCES));
            EXPECT_EQ(e.number(), EACCES);
        }
    }
    ASSERT_EQ(::chmod(QFile::encodeName(closed).constData(), 0700), 0);
    EXPECT_EQ(readAll(closed + "/Pilvanor.conf"), "[S]\nk=v\n") << "the sync failed, not the write";

    // Something else in the file's place is no file to read either; a missing file is.
    IniFile folder(dir.path());
    EXPECT_THROW(folder.load(), Error);
    EXPECT_NO_THROW(IniFile(dir.filePath("missing.pv")).load());
}

TEST(IniFile, Windows1252FileIsReadAndWrittenBackAsUtf8)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("old.pv");
    // "Réunion" and a pilcrow line break, as a Windows program wrote them, beside a UTF-8 line: each line is read
    // in its own encoding.
    ASSERT_TRUE(test::writeFile(path,
                                "[PredefinedMessage]\n20030101120000=R\xE9union\xB6\x80 5\n"
                                "20030101120001=R\xC3\xA9"
                                "ception\n"));
    IniFile ini(path);
    EXPECT_EQ(ini.readString("PredefinedMessage", "20030101120000"), QString::fromUtf8("Réunion¶€ 5"));
    EXPECT_EQ(ini.readString("PredefinedMessage", "20030101120001"), QString::fromUtf8("Réception"));
    ini.writeString("User", "PC1", "Desk|0");
    const QByteArray bytes = readAll(path);
    EXPECT_TRUE(isValidUtf8(bytes));
    EXPECT_TRUE(bytes.contains("=R\xC3\xA9union\xC2\xB6\xE2\x82\xAC 5\n20030101120001=R\xC3\xA9"
                               "ception\n"));
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
    const std::pair<QByteArray, const char*> files[] = {
        {"\xEF\xBB\xBFok", "ok"},
        {"caf\xC3\xA9\r\ncaf\xE9\r\n\xE2\x82\xAC", "café\r\ncafé\r\n€"}, // one line in Windows-1252
        {"\x80\n\xC3\xA9\n\xC3", "€\né\nÃ"},
    };
    for (const auto& [bytes, text] : files) {
        EXPECT_EQ(decodeTextFile(bytes), QString::fromUtf8(text)) << bytes.toHex().toStdString();
    }
    EXPECT_EQ(decodeWindows1252("\x80\x92\x9F\xA0\xFF"), QString::fromUtf8("€’Ÿ\u00A0ÿ"));
}

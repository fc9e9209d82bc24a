#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>

#include "tarvex/core/exceptions.h"
#include "tarvex/streams/zip/ziphelper.h"
#include "zip_support.h"

using namespace zip_test;
namespace fs = std::filesystem;

namespace {

using Records = CIndirectArray<CKVZipHelper::CZipRec>;

void AddRecord(Records& records, const std::string& name, const std::string& content) {
    auto* record = new CKVZipHelper::CZipRec(Wide(name));
    record->data.Grow(std::int64_t(content.size()));
    if (!content.empty()) std::memcpy(record->data.GetData(), content.data(), content.size());
    records.Add(record);
}

std::string Content(const CKVZipHelper::CZipRec& record) {
    return std::string(reinterpret_cast<const char*>(record.data.GetData()),
                       std::size_t(record.data.GetLength()));
}

// The failure text of a zip call that must throw.
template <class Call>
CString FailureOf(Call call) {
    try {
        call();
    } catch (const CKVException& e) {
        return e.GetMessageW();
    }
    return u"(no exception)";
}

// Writes an archive with Python's zipfile: `entries` is a Python list of
// (name, bytes) pairs.
void PythonZip(const std::string& path, const std::string& entries) {
    const std::string script = "import zipfile\nwith zipfile.ZipFile('" + path +
                               "', 'w', zipfile.ZIP_DEFLATED) as z:\n"
                               "    for n, b in " +
                               entries + ": z.writestr(n, b)\n";
    ScratchDir dir;
    WriteBytes(dir / "make.py", script);
    std::string output;
    ASSERT_EQ(Shell("python3 " + (dir / "make.py"), &output), 0) << output;
}

} // namespace

TEST(ZipArchive, RecordsRoundTripAndPassUnzip) {
    ScratchDir dir;
    Records records;
    AddRecord(records, "Чертёж/Лист 1.xml", "<Element name=\"Насос\" />");
    AddRecord(records, "empty.bin", "");
    AddRecord(records, "data/zeros", std::string(300000, '\0'));
    const std::string zip = dir / "out.zip";
    ASSERT_TRUE(CKVZipHelper::MakeZip(records, Wide(zip)));

    std::string output;
    EXPECT_EQ(Shell("unzip -t " + zip, &output), 0) << output;
    EXPECT_EQ(Shell("unzip -Z1 " + zip, &output), 0);
    EXPECT_EQ(output, "Чертёж/Лист 1.xml\nempty.bin\ndata/zeros\n");

    Records back;
    ASSERT_TRUE(CKVZipHelper::ExtractZip(Wide(zip), back));
    ASSERT_EQ(back.GetLength(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(back[i]->name, records[i]->name);
        EXPECT_EQ(Content(*back[i]), Content(*records[i]));
    }
    // No temporary file is left beside the archive.
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path), fs::directory_iterator()), 1);
}

TEST(ZipArchive, FolderRoundTripWithCyrillicNamesAndNoLinksFollowed) {
    ScratchDir dir;
    const std::string source = dir / "Проект";
    WriteBytes(source + "/Схема.xml", "<a/>");
    WriteBytes(source + "/Узлы/Насос №1/параметры.txt", "Длина=10");
    fs::create_directories(source + "/Пустая");
    WriteBytes(dir / "outside/secret.txt", "secret");
    fs::create_symlink(dir / "outside", source + "/link");
    fs::create_symlink(dir / "outside/secret.txt", source + "/filelink");

    const std::string zip = dir / "проект.zip";
    ASSERT_TRUE(CKVZipHelper::MakeZipFolder(Wide(source), Wide(zip), true));
    EXPECT_FALSE(fs::exists(source));
    EXPECT_EQ(ReadBytes(dir / "outside/secret.txt"), "secret"); // deleting did not follow the link

    std::string output;
    EXPECT_EQ(Shell("unzip -Z1 '" + zip + "'", &output), 0);
    EXPECT_EQ(output, "Пустая/\nСхема.xml\nУзлы/\nУзлы/Насос №1/\nУзлы/Насос №1/параметры.txt\n");

    const std::string target = dir / "Распаковка";
    ASSERT_TRUE(CKVZipHelper::ExtractZipToFolder(Wide(zip), Wide(target)));
    EXPECT_EQ(ReadBytes(target + "/Схема.xml"), "<a/>");
    EXPECT_EQ(ReadBytes(target + "/Узлы/Насос №1/параметры.txt"), "Длина=10");
    EXPECT_TRUE(fs::is_directory(target + "/Пустая"));
    // unzip agrees on the names.
    EXPECT_EQ(Shell("cd '" + dir.path + "' && unzip -q -d by_unzip '" + zip + "'", &output), 0)
        << output;
    EXPECT_EQ(ReadBytes(dir / "by_unzip/Узлы/Насос №1/параметры.txt"), "Длина=10");
}

TEST(ZipArchive, ReadsArchivesOfInfoZipWithCyrillicNames) {
    ScratchDir dir;
    WriteBytes(dir / "src/Отчёт о проекте.txt", "текст");
    WriteBytes(dir / "src/Папка/Ёлка.dat", std::string(5000, 'e'));
    std::string output;
    ASSERT_EQ(Shell("cd '" + dir.path + "/src' && zip -q -r ../infozip.zip .", &output), 0)
        << output;

    Records records;
    ASSERT_TRUE(CKVZipHelper::ExtractZip(Wide(dir / "infozip.zip"), records));
    std::map<std::string, std::string> byName;
    for (const auto* record : records)
        byName[tarvex::ToUtf8(record->name.View())] = Content(*record);
    EXPECT_EQ(byName["Отчёт о проекте.txt"], "текст");
    EXPECT_EQ(byName["Папка/Ёлка.dat"], std::string(5000, 'e'));
    EXPECT_EQ(byName.count("Папка/"), 1u);
}

TEST(ZipArchive, NamesWithoutTheUtf8FlagReadAsCodePage866) {
    ScratchDir dir;
    const std::string zip = dir / "dos.zip";
    PythonZip(zip, "[('XY.txt', b'dos')]");
    // Same length in the headers: "ДА" in code page 866, and no UTF-8 flag.
    std::string bytes = ReadBytes(zip);
    for (std::size_t at = bytes.find("XY"); at != std::string::npos; at = bytes.find("XY", at))
        bytes.replace(at, 2, "\x84\x80");
    WriteBytes(zip, bytes);

    Records records;
    ASSERT_TRUE(CKVZipHelper::ExtractZip(Wide(zip), records));
    ASSERT_EQ(records.GetLength(), 1);
    EXPECT_EQ(records[0]->name, CString(u"ДА.txt"));
}

TEST(ZipArchive, ExtractionRefusesNamesLeavingTheFolder) {
    // Python literal of the entry name, and the name as the failure shows it.
    const std::pair<const char*, const char16_t*> cases[] = {
        {"../escape.txt", u"../escape.txt"},
        {"a/../../escape.txt", u"a/../../escape.txt"},
        {"/tmp/escape.txt", u"/tmp/escape.txt"},
        {"..\\\\escape.txt", u"..\\escape.txt"},
    };
    for (const auto& [literal, shown] : cases) {
        ScratchDir dir;
        const std::string zip = dir / "evil.zip";
        PythonZip(zip, std::string("[('ok.txt', b'1'), ('") + literal + "', b'2')]");
        EXPECT_EQ(
            FailureOf([&] { CKVZipHelper::ExtractZipToFolder(Wide(zip), Wide(dir / "out/in")); }),
            CString(u"Не удалось создать каталог для распаковки"));
        fs::create_directories(dir / "out");
        CString expected;
        expected.Format(u"Не удалось разархивировать запись архива: \"%s\"", shown);
        EXPECT_EQ(
            FailureOf([&] { CKVZipHelper::ExtractZipToFolder(Wide(zip), Wide(dir / "out/in")); }),
            expected);
        EXPECT_EQ(ReadBytes(dir / "out/in/ok.txt"), "1");
        EXPECT_FALSE(fs::exists(dir / "out/escape.txt"));
        EXPECT_FALSE(fs::exists(dir / "escape.txt"));
        EXPECT_FALSE(fs::exists("/tmp/escape.txt"));
    }
}

TEST(ZipArchive, ExtractionDoesNotWriteThroughALinkInTheTarget) {
    ScratchDir dir;
    const std::string zip = dir / "a.zip";
    PythonZip(zip, "[('sub/file.txt', b'new')]");
    fs::create_directories(dir / "outside");
    fs::create_directories(dir / "target");
    fs::create_symlink(dir / "outside", dir / "target/sub");
    EXPECT_EQ(FailureOf([&] { CKVZipHelper::ExtractZipToFolder(Wide(zip), Wide(dir / "target")); }),
              CString(u"Не удалось разархивировать запись архива: \"sub/file.txt\""));
    EXPECT_FALSE(fs::exists(dir / "outside/file.txt"));

    // A hard link in the target is replaced, and what it shares stays whole.
    fs::remove(dir / "target/sub");
    fs::create_directories(dir / "target/sub");
    WriteBytes(dir / "outside/kept.txt", "old");
    fs::create_hard_link(dir / "outside/kept.txt", dir / "target/sub/file.txt");
    ASSERT_TRUE(CKVZipHelper::ExtractZipToFolder(Wide(zip), Wide(dir / "target")));
    EXPECT_EQ(ReadBytes(dir / "target/sub/file.txt"), "new");
    EXPECT_EQ(ReadBytes(dir / "outside/kept.txt"), "old");
}

TEST(ZipArchive, LyingAndBrokenArchivesAnswerWithTheirTexts) {
    ScratchDir dir;
    const std::string zip = dir / "lie.zip";
    PythonZip(zip, "[('big.bin', b'0123456789')]");
    // The central directory claims almost 4 GiB for ten bytes.
    std::string bytes = ReadBytes(zip);
    const std::size_t central = bytes.find("PK\x01\x02");
    ASSERT_NE(central, std::string::npos);
    bytes.replace(central + 24, 4, "\xf0\xff\xff\xff");
    bytes.replace(22, 4, "\xf0\xff\xff\xff"); // the local header agrees
    WriteBytes(zip, bytes);
    Records records;
    EXPECT_EQ(FailureOf([&] { CKVZipHelper::ExtractZip(Wide(zip), records); }),
              CString(u"Ошибка разархивирования файла big.bin: не верный размер записи"));
    ASSERT_EQ(records.GetLength(), 1);
    EXPECT_LT(records[0]->data.GetPhysicalLength(), 1 << 22);
    records.Clear();

    const std::string missing = dir / "missing.zip";
    EXPECT_EQ(FailureOf([&] { CKVZipHelper::ExtractZip(Wide(missing), records); }),
              Wide("Ошибка открытия zip архива: \"" + missing + "\""));
    EXPECT_EQ(FailureOf([&] { CKVZipHelper::ExtractZipToFolder(Wide(missing), Wide(dir / "o")); }),
              Wide("Ошибка открытия архива: \"" + missing + "\""));
    const std::string nowhere = dir / "no/such/folder/x.zip";
    EXPECT_EQ(FailureOf([&] {
                  CKVZipHelper::MakeZip(u"a", TArrayTemplate<unsigned char>(), Wide(nowhere));
              }),
              Wide("Ошибка создания zip архива: \"" + nowhere + "\""));
}

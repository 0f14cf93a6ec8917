#include <qorcor14/errors.h>
#include <qorcor14/stream/raw.h>

#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <string>
#include <utility>

namespace {

using qortest::errorText;
using qortest::ScratchFolder;

TEST(RawFile, CreatedFileIsWrittenSoughtAndReadBack) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"data.bin");
  qortest::writeBytes(name, "previous content, to be truncated");
  std::unique_ptr<QOR::RawFileWriter> f(QOR::rawCreate(name));
  f->write("hello, world", 12);
  EXPECT_EQ(f->seek(0, QOR::seekBegin), 0);
  EXPECT_EQ(f->seek(0, QOR::seekCurrent), 0) << "asking for the position must not move";
  EXPECT_EQ(errorText([&] { f->seek(-1, QOR::seekBegin); }),
            L"Cannot read from or move within \"" + name + L"\": Invalid argument");
  char buf[32] = {};
  EXPECT_EQ(f->read(buf, 5), 5u) << "a failed seek leaves the position";
  EXPECT_EQ(std::string(buf, 5), "hello");
  EXPECT_EQ(f->seek(-5, QOR::seekEnd), 7);
  EXPECT_EQ(f->seek(2, QOR::seekCurrent), 9);
  EXPECT_EQ(f->read(buf, sizeof buf), 3u) << "short read at the end";
  EXPECT_EQ(f->read(buf, sizeof buf), 0u) << "end of file is no error";
  // Any origin other than 0 and 1 counts from the end.
  EXPECT_EQ(f->seek(-1, static_cast<QOR::SeekOrigin>(7)), 11);
  f.reset();  // the destructor closes and so flushes
  EXPECT_EQ(qortest::readBytes(name), "hello, world");
}

TEST(RawFile, AppendWritesAtTheEndWhereverThePositionIs) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"log.txt");
  std::unique_ptr<QOR::RawFileWriter>(QOR::rawAppend(name))->write("one ", 4);  // creates
  std::unique_ptr<QOR::RawFileWriter> f(QOR::rawAppend(name));
  EXPECT_EQ(f->seek(0, QOR::seekBegin), 0);
  char buf[4];
  ASSERT_EQ(f->read(buf, 3), 3u);
  EXPECT_EQ(std::string(buf, 3), "one");
  f->seek(0, QOR::seekBegin);
  f->write("two", 3);
  f->flush();
  EXPECT_EQ(f->seek(0, QOR::seekEnd), 7);
  f.reset();
  EXPECT_EQ(qortest::readBytes(name), "one two");
}

TEST(RawFile, CloseTwiceDoesNothingAndUseAfterCloseThrows) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"c.bin");
  std::unique_ptr<QOR::RawFileWriter> f(QOR::rawCreate(name));
  f->write("x", 1);
  f->close();
  EXPECT_NO_THROW(f->close());
  char c;
  EXPECT_EQ(errorText([&] { f->read(&c, 1); }),
            L"Cannot read from or move within \"" + name + L"\": Bad file descriptor");
  EXPECT_EQ(errorText([&] { f->write("y", 1); }), L"Cannot write to \"" + name + L"\": Bad file descriptor");
  f.reset();
  EXPECT_EQ(qortest::readBytes(name), "x");
}

TEST(RawFile, CreatingInAMissingFolderFails) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"no-such-folder\\new.bin");
  const std::wstring want = L"Cannot create or open \"" + name + L"\" for writing: No such file or directory";
  EXPECT_EQ(errorText([&] { delete QOR::rawCreate(name); }), want);
  EXPECT_EQ(errorText([&] { delete QOR::rawAppend(name); }), want);
}

TEST(RawFile, FileHeldWithoutSharingCannotBeOpened) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"held.bin");
  qortest::writeBytes(name, "content");
  HANDLE h = CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(errorText([&] { delete QOR::rawOpen(name); }),
            L"Cannot open \"" + name + L"\" for reading: Permission denied");
  EXPECT_EQ(errorText([&] { delete QOR::rawCreate(name); }),
            L"Cannot create or open \"" + name + L"\" for writing: Permission denied");
  CloseHandle(h);
  EXPECT_EQ(qortest::readBytes(name), "content") << "a failed create must not truncate";
}

}  // namespace

// The in-memory file layer behind the cabinet interfaces. It is portable, so
// its behaviour is checked here on every platform; the FCI/FDI contexts built
// on it are tested in tests/win.

#include "Compression/CabAbstractFile.h"
#include "Compression/CabBufferAsFile.h"
#include "Compression/CabContext.h"
#include "CompressionTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

using namespace compression_test;

namespace {

// A context as the Windows contexts use it, without the cabinet library.
class MemoryContext : public CabContext {
 public:
  MemoryContext() = default;
};

// A file whose closing fails, and which counts its closes.
class FailingCloseFile : public CabAbstractFile {
 public:
  FailingCloseFile(std::string name, int& closeCalls)
      : CabAbstractFile(std::move(name), true, false), m_calls(closeCalls) {}

 protected:
  unsigned int DoRead(void*, unsigned int) override { return 0; }
  unsigned int DoWrite(const void*, unsigned int) override { return 0; }
  long DoSeek(long, SeekOrigin) override { return 0; }
  void DoClose() override {
    ++m_calls;
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("FailingCloseFile::DoClose"), "disk gone");
  }

 private:
  int& m_calls;
};

}  // namespace

TEST(CabBufferAsFile, ReadsWritesAndSeeksLikeAFile) {
  ByteBuffer storage{'a', 'b', 'c', 'd', 'e'};
  CabBufferAsFile file(storage, "f", true, true, 10);
  char chunk[8] = {};
  EXPECT_EQ(file.Read(chunk, 3), 3u);
  EXPECT_EQ(std::string(chunk, 3), "abc");
  EXPECT_EQ(file.Read(chunk, 8), 2u);  // short read at the end
  EXPECT_EQ(file.Read(chunk, 8), 0u);  // end of file
  EXPECT_EQ(file.Seek(-2, CabAbstractFile::CSO_END), 3);
  EXPECT_EQ(file.Write("XYZ", 3), 3u);
  EXPECT_EQ(bytesOf(storage), (Bytes{'a', 'b', 'c', 'X', 'Y', 'Z'}));
  // A seek past the end leaves a gap that a write fills with zeros.
  EXPECT_EQ(file.Seek(8, CabAbstractFile::CSO_BEGIN), 8);
  EXPECT_EQ(file.Write("!", 1), 1u);
  EXPECT_EQ(bytesOf(storage), (Bytes{'a', 'b', 'c', 'X', 'Y', 'Z', 0, 0, '!'}));
  EXPECT_EQ(file.Seek(0, CabAbstractFile::CSO_CURRENT), 9);
  // The limit: one more byte fits, two do not, and nothing is written.
  EXPECT_FALSE(messageOfThrow<CPExceptionFileOperationCompression>([&] { file.Write("12", 2); }).empty());
  EXPECT_EQ(storage.size(), 9u);
  EXPECT_EQ(file.Write("1", 1), 1u);
  // A position before the start, or an unknown origin, fails.
  EXPECT_FALSE(
      messageOfThrow<CPExceptionFileOperationCompression>([&] { file.Seek(-1, CabAbstractFile::CSO_BEGIN); }).empty());
  EXPECT_FALSE(messageOfThrow<CPExceptionFileOperationCompression>([&] {
                 file.Seek(0, static_cast<CabAbstractFile::SeekOrigin>(3));
               }).empty());
  EXPECT_EQ(file.GetPosition(), 10u);

  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(messageOfThrow<CPExceptionFileOperationCompression>([&] { file.Read(chunk, 1); }),
            "Cannot read from the in-memory cabinet file 'f': it is closed.");
  EXPECT_EQ(messageOfThrow<CPExceptionFileOperationCompression>([&] { file.Close(); }),
            "Cannot close the in-memory cabinet file 'f': it is closed.");

  ByteBuffer readOnlyStorage{1, 2, 3};
  CabBufferAsFile readOnly(readOnlyStorage, "r", true, false);
  EXPECT_EQ(messageOfThrow<CPExceptionFileOperationCompression>([&] { readOnly.Write("x", 1); }),
            "Cannot write to the in-memory cabinet file 'r': it is open for reading only.");
  ByteBuffer appendStorage{1, 2};
  CabBufferAsFile appending(appendStorage, "a", false, true, 100, true);
  appending.Seek(0, CabAbstractFile::CSO_BEGIN);
  appending.Write("\x07", 1);
  EXPECT_EQ(bytesOf(appendStorage), (Bytes{1, 2, 7}));
  EXPECT_EQ(messageOfThrow<CPExceptionFileOperationCompression>([&] { appending.Read(chunk, 1); }),
            "Cannot read from the in-memory cabinet file 'a': it is open for writing only.");
}

TEST(CabContext, FileOperationsReturnRunTimeResults) {
  MemoryContext context;
  int error = 0;
  // Opening: missing, created, exclusive, truncated.
  EXPECT_EQ(context.FileOpen("missing", CabContext::CCOF_READ, error), -1);
  EXPECT_EQ(error, ENOENT);
  EXPECT_NE(context.GetLastFileError().find("missing"), std::string::npos);
  EXPECT_EQ(context.FileOpen("x", 0, error), -1);
  EXPECT_EQ(error, EINVAL);

  const std::intptr_t created =
      context.FileOpen("cab", CabContext::CCOF_READ | CabContext::CCOF_WRITE | CabContext::CCOF_CREATE, error);
  ASSERT_GT(created, 0);
  EXPECT_EQ(context.FileWrite(created, "hello", 5, error), 5u);
  EXPECT_EQ(context.FileSeek(created, 1, 0, error), 1);
  char chunk[8] = {};
  EXPECT_EQ(context.FileRead(created, chunk, 8, error), 4u);
  EXPECT_EQ(std::string(chunk, 4), "ello");
  EXPECT_EQ(context.GetFile("cab"), bufferOf("hello"));

  // A second handle on the same name sees the same bytes.
  const std::intptr_t second = context.FileOpen("cab", CabContext::CCOF_READ, error);
  ASSERT_GT(second, 0);
  EXPECT_NE(second, created);
  EXPECT_EQ(context.FileRead(second, chunk, 2, error), 2u);
  EXPECT_EQ(std::string(chunk, 2), "he");
  EXPECT_EQ(context.FileWrite(second, "z", 1, error), static_cast<unsigned int>(-1));
  EXPECT_EQ(error, EBADF);
  EXPECT_EQ(context.GetOpenFileCount(), 2u);

  EXPECT_EQ(
      context.FileOpen("cab", CabContext::CCOF_WRITE | CabContext::CCOF_CREATE | CabContext::CCOF_EXCLUSIVE, error),
      -1);
  EXPECT_EQ(error, EEXIST);
  // An open file can neither be deleted nor replaced.
  EXPECT_EQ(context.FileDelete("cab", error), -1);
  EXPECT_EQ(error, EACCES);
  EXPECT_FALSE(
      messageOfThrow<CPExceptionFileOperationCompression>([&] { context.SetFile("cab", ByteBuffer()); }).empty());

  EXPECT_EQ(context.FileClose(created, error), 0);
  EXPECT_EQ(context.FileClose(second, error), 0);
  EXPECT_EQ(context.FileClose(second, error), -1);
  EXPECT_EQ(error, EBADF);
  EXPECT_EQ(context.FileRead(12345, chunk, 1, error), static_cast<unsigned int>(-1));
  EXPECT_EQ(error, EBADF);
  EXPECT_EQ(context.FileSeek(created, 0, 0, error), -1);

  const std::intptr_t truncating = context.FileOpen("cab", CabContext::CCOF_WRITE | CabContext::CCOF_TRUNCATE, error);
  ASSERT_GT(truncating, 0);
  EXPECT_TRUE(context.GetFile("cab").empty());
  EXPECT_EQ(context.FileClose(truncating, error), 0);
  EXPECT_EQ(context.FileDelete("cab", error), 0);
  EXPECT_FALSE(context.HasFile("cab"));
  EXPECT_EQ(context.FileDelete("cab", error), -1);
  EXPECT_EQ(error, ENOENT);

  // The size limit applies to handles opened afterwards.
  context.SetFile("out", ByteBuffer());
  context.SetFileSizeLimit("out", 4);
  const std::intptr_t limited = context.FileOpen("out", CabContext::CCOF_WRITE, error);
  EXPECT_EQ(context.FileWrite(limited, "12345", 5, error), static_cast<unsigned int>(-1));
  EXPECT_EQ(error, ENOSPC);
  EXPECT_NE(context.GetLastFileError().find("longer than its limit of 4 bytes"), std::string::npos);
  EXPECT_EQ(context.FileWrite(limited, "1234", 4, error), 4u);

  // Temporary names are new each time and fit or fail.
  char name[32];
  ASSERT_TRUE(context.GetTemporaryFileName(name, sizeof(name)));
  const std::string first = name;
  context.SetFile(first, ByteBuffer());
  ASSERT_TRUE(context.GetTemporaryFileName(name, sizeof(name)));
  EXPECT_NE(first, name);
  EXPECT_FALSE(context.GetTemporaryFileName(name, 4));
  EXPECT_FALSE(context.GetTemporaryFileName(nullptr, 10));
}

TEST(CabContext, ClosingAllHandlesReportsFailures) {
  int closeCalls = 0;
  {
    MemoryContext context;
    int error = 0;
    context.SetFile("a", ByteBuffer{1});
    const std::intptr_t plain = context.FileOpen("a", CabContext::CCOF_READ, error);
    context.AdoptOpenFile(std::make_unique<FailingCloseFile>("bad1", closeCalls));
    context.AdoptOpenFile(std::make_unique<FailingCloseFile>("bad2", closeCalls));
    EXPECT_GT(plain, 0);
    EXPECT_EQ(context.GetOpenFileCount(), 3u);

    try {
      context.CloseAllOpenFiles();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const CPExceptionFileOperationCompression& exception) {
      EXPECT_STREQ(exception.getExceptionMessage(),
                   "Exception thrown while trying to close all the open file handles.");
      EXPECT_STREQ(exception.getExceptionLocationFunctionName(), "CabAbstractFile::DoCommonDestroy");
      EXPECT_EQ(exception.getExceptionTypeByNumericCode(), 50);
    }
    // Every file was closed even though the first failing one threw.
    EXPECT_EQ(closeCalls, 2);
    EXPECT_EQ(context.GetOpenFileCount(), 0u);
    EXPECT_EQ(context.FileRead(plain, nullptr, 0, error), static_cast<unsigned int>(-1));
    context.CloseAllOpenFiles();  // nothing left: no failure

    // A failing file left open is closed by the destructor, which reports
    // and never throws.
    context.AdoptOpenFile(std::make_unique<FailingCloseFile>("bad3", closeCalls));
  }
  EXPECT_EQ(closeCalls, 3);
}

TEST(CabContext, ErrorNamesAndTexts) {
  EXPECT_EQ(CabContext::GetFciErrorText(6), "FCIERR_CAB_FILE (Could not create cabinet file)");
  EXPECT_EQ(CabContext::GetFciErrorText(0), "FCIERR_NONE (No error)");
  EXPECT_EQ(CabContext::GetFciErrorText(4), "FCIERR_TEMP_FILE (Could not create a temporary file)");
  EXPECT_EQ(CabContext::GetFciErrorText(9),
            "FCIERR_CAB_FORMAT_LIMIT (Data-size or file-count exceeded CAB format limits)");
  EXPECT_EQ(CabContext::GetFciErrorText(10), "FCIERR_10 (Unknown FCI error)");
  EXPECT_EQ(CabContext::GetFdiErrorText(2), "FDIERROR_NOT_A_CABINET (Cabinet file does not have the correct format)");
  EXPECT_EQ(CabContext::GetFdiErrorText(4), "FDIERROR_CORRUPT_CABINET (Cabinet file is corrupt)");
  EXPECT_EQ(CabContext::GetFdiErrorText(8), "FDIERROR_TARGET_FILE (Failure writing to target file)");
  EXPECT_EQ(CabContext::GetFdiErrorText(11), "FDIERROR_USER_ABORT (Application aborted)");
  EXPECT_EQ(CabContext::GetFdiErrorText(-1), "FDIERROR_-1 (Unknown FDI error)");
}

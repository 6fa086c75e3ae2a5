// ClientJobData2ReaderWriter over an in-memory environment: the order of the
// three stores on reading and committing, the job-id fix-up, the temporary
// file's name and bytes, the property bag's references, and failures that
// are reported instead of thrown.

#include "General/ClientJobData2ReaderWriter.h"

#include "ClientJobDataTestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using CJD = ClientJobData2ReaderWriter;

void* const kPrinter = reinterpret_cast<void*>(0x1234);

// CRC-32 of the UTF-16LE bytes of "Printer A" (zlib.crc32 in Python).
constexpr std::uint32_t kPrinterACrc = 537414845u;

std::u16string tempFile(const FakeClientJobDataEnvironment& environment, std::uint32_t crc, std::uint32_t jobId) {
  return environment.tempFolder + u"\\HCJD_" + CXString::format("%u_%u", crc, jobId).u16string() + u".tmp";
}

ByteBuffer utf16le(const std::u16string& units) {
  ByteBuffer bytes;
  for (const char16_t unit : units) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  return bytes;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

TEST(ClientJobData2ReaderWriter, JobIdFixUpAndTempFileName) {
  EXPECT_EQ(CJD::FixUpJobId(15000, false), 15000u);
  EXPECT_EQ(CJD::FixUpJobId(15001, false), 14999u);
  EXPECT_EQ(CJD::FixUpJobId(29999, false), 1u);
  EXPECT_EQ(CJD::FixUpJobId(30001, false), 0xFFFFFFFFu);  // 32-bit arithmetic
  EXPECT_EQ(CJD::FixUpJobId(29999, true), 29999u);

  EXPECT_EQ(CJD::GetPrinterNameCrc(CXString(u"\\\\server\\Printer A")), kPrinterACrc);
  EXPECT_EQ(CJD::GetPrinterNameCrc(CXString(u"Printer A")), kPrinterACrc);
  EXPECT_EQ(CJD::GetPrinterNameCrc(CXString(u"HP LaserJet 4 (B\u00FCro)")), 2624561202u);
  EXPECT_EQ(CJD::GetPrinterNameCrc(CXString(u"ends\\")), 0u);
  EXPECT_EQ(CJD::MakeTempFileName(CXString(u"C:\\T"), CXString(u"Printer A"), 14999).u16string(),
            u"C:\\T\\HCJD_537414845_14999.tmp");

  // File bytes: UTF-16LE, no byte-order mark; one trailing zero unit and an
  // odd last byte are dropped on reading.
  EXPECT_EQ(CJD::EncodeTempFileContents(CXString(u"L1=1;\u20AC")),
            (ByteBuffer{'L', 0, '1', 0, '=', 0, '1', 0, ';', 0, 0xAC, 0x20}));
  EXPECT_EQ(CJD::DecodeTempFileContents(ByteBuffer{'L', 0, '1', 0, 0, 0, 0, 0}).u16string(),
            std::u16string(u"L1\0", 3));
  EXPECT_EQ(CJD::DecodeTempFileContents(ByteBuffer{'L', 0, '1', 0, 0x42}).u16string(), u"L1");

  FakeClientJobDataEnvironment environment;
  const CJD fixedUp(environment, kPrinter, 20000, false, false);
  EXPECT_TRUE(fixedUp.IsJobIdFixedUp_ReverseEngineering());
  EXPECT_EQ(fixedUp.GetJobIdForSpooler(), 10000u);
  EXPECT_TRUE(environment.jobQueries.empty());  // a fixed-up id never reaches the spooler
  EXPECT_EQ(fixedUp.GetTempFileNameWithPath().u16string(),
            tempFile(environment, CJD::GetPrinterNameCrc(CXString(environment.guidPrinterName)), 10000));

  const CJD exact(environment, kPrinter, 20000, true, true);
  EXPECT_FALSE(exact.IsJobIdFixedUp_ReverseEngineering());
  EXPECT_EQ(environment.jobQueries, (std::vector<unsigned long>{20000}));
  EXPECT_EQ(environment.folderRequests.back(), false);  // an exact id never creates the folder
  EXPECT_EQ(exact.GetTempFileNameWithPath().u16string(), tempFile(environment, kPrinterACrc, 20000));
}

TEST(ClientJobData2ReaderWriter, SpoolerRoadReadsWithoutWhiteSpaceAndCommitsWithPositionZero) {
  FakeClientJobDataEnvironment environment;
  environment.jobs[42].parameters = u" L200=1;\r\n L202=2;\t";
  environment.files[tempFile(environment, kPrinterACrc, 42)] = utf16le(u"L200=3;");  // must not be read

  CJD data(environment, kPrinter, 42, false, true);
  EXPECT_TRUE(data.WasJobFound());
  EXPECT_TRUE(data.WasClientJobDataFound());
  EXPECT_EQ(data.GetPrintProcessorParametersString().u16string(), u"L200=1;L202=2;");
  EXPECT_EQ(data.GetPrintTimeUiResultFromParameterList(), CJD::PTUIRE_OK);
  EXPECT_EQ(data.GetSpoolingMethodFromParameterList(), CJD::SME_ADD_JOB);
  EXPECT_EQ(environment.folderRequests, (std::vector<bool>{true}));

  data.AddOrReplaceInParameterList(3, CXString(u"user"));
  ASSERT_TRUE(data.CommitAdditions());
  EXPECT_EQ(environment.jobUpdates, (std::vector<unsigned long>{42}));
  EXPECT_EQ(environment.jobs[42].position, 0);
  const std::u16string& stored = environment.jobs[42].parameters;
  EXPECT_EQ(stored.substr(0, 5), u"L1=1;");
  EXPECT_EQ(stored.substr(stored.size() - 14), u"L200=1;L202=2;");
  EXPECT_EQ(environment.files.size(), 1u);  // the file was left alone

  // A job whose parameters are empty falls through to the file.
  FakeClientJobDataEnvironment second;
  second.jobs[7].parameters = u"";
  second.files[tempFile(second, kPrinterACrc, 7)] = utf16le(std::u16string(u"L5=5;\0", 6));
  const CJD fromFile(second, kPrinter, 7, false, false);
  EXPECT_TRUE(fromFile.WasJobFound());
  EXPECT_EQ(fromFile.GetPrintProcessorParametersString().u16string(), u"L5=5;");
}

TEST(ClientJobData2ReaderWriter, FileRoadWhenTheSpoolerHasNoJob) {
  FakeClientJobDataEnvironment environment;
  const std::u16string file = tempFile(environment, kPrinterACrc, 9);
  {
    CJD writer(environment, kPrinter, 9, false, true);
    EXPECT_FALSE(writer.WasJobFound());
    EXPECT_FALSE(writer.WasClientJobDataFound());
    EXPECT_EQ(writer.GetTempFileNameWithPath().u16string(), file);
    writer.AddOrReplacePrintTimeUiResultInParameterListFromString(CXString(u"cancel"));
    writer.AddOrReplaceInParameterList(2, ByteBuffer{0xFF});
    ASSERT_TRUE(writer.CommitAdditions());
  }
  EXPECT_EQ(environment.files.at(file), utf16le(u"L1=1;L200=2;B2=/w==;"));

  environment.files[file] = utf16le(u"L1=1;\r\nL200=2;  B2=/w==;");
  const CJD reader(environment, kPrinter, 9, false, false);
  EXPECT_EQ(reader.GetPrintTimeUiResultFromParameterList(), CJD::PTUIRE_CANCEL);
  ByteBuffer bytes;
  ASSERT_TRUE(reader.GetByteBufferFromParameterList(2, bytes));
  EXPECT_EQ(bytes, (ByteBuffer{0xFF}));
  EXPECT_TRUE(environment.removedFiles.empty());
}

TEST(ClientJobData2ReaderWriter, BagRoadTakesAReferenceAndMovesACommittedFileIntoTheBag) {
  FakeClientJobDataEnvironment environment;
  FakePropertyBag bag;
  bag.strings[CJD::kPropertyBagKey] = u"L202=1;";
  {
    CJD data(environment, kPrinter, 5, bag.pointer());
    EXPECT_EQ(bag.references, 2);
    EXPECT_EQ(data.GetSpoolingMethodFromParameterList(), CJD::SME_START_DOC_PRINTER);
    EXPECT_TRUE(environment.jobQueries.empty());  // found in the bag: nothing else is asked
    EXPECT_TRUE(environment.folderRequests.empty());
    ASSERT_TRUE(data.CommitAdditions());
    EXPECT_EQ(bag.strings[CJD::kPropertyBagKey], u"L1=1;L202=1;");
    EXPECT_TRUE(environment.jobUpdates.empty());

    FakePropertyBag other;
    EXPECT_FALSE(data.ReInitializeFromPropertyBag(other.pointer()));
    EXPECT_EQ(bag.references, 1);
    EXPECT_EQ(other.references, 2);
    EXPECT_FALSE(data.WasClientJobDataFound());
    data.ReInitializeFromString(CXString(u"L9=9;"));
    EXPECT_EQ(data.GetPrintProcessorParametersString().u16string(), u"L9=9;");
    EXPECT_FALSE(data.ReInitializeFromPropertyBag(nullptr));
    EXPECT_EQ(other.references, 1);
  }
  EXPECT_EQ(bag.references, 1);

  // An empty bag: the spooler and the file are read, the folder is not
  // created; a committed file moves into the bag and is deleted.
  FakePropertyBag empty;
  environment.tempFolderExists = true;
  const std::u16string file = tempFile(environment, kPrinterACrc, 6);
  environment.files[file] = utf16le(u"L1=1;L200=4;");
  {
    const CJD data(environment, kPrinter, 6, empty.pointer());
    EXPECT_EQ(environment.folderRequests, (std::vector<bool>{false}));
    EXPECT_EQ(environment.jobQueries, (std::vector<unsigned long>{6}));
    EXPECT_EQ(data.GetPrintTimeUiResultFromParameterList(), CJD::PTUIRE_ERROR);
  }
  EXPECT_EQ(empty.strings[CJD::kPropertyBagKey], u"L1=1;L200=4;");
  EXPECT_EQ(environment.removedFiles, (std::vector<std::u16string>{file}));
  EXPECT_EQ(environment.files.count(file), 0u);

  // Without the committed marker the file stays where it is.
  FakePropertyBag third;
  environment.files[file] = utf16le(u"L1=0;L200=4;");
  const CJD uncommitted(environment, kPrinter, 6, third.pointer());
  EXPECT_TRUE(third.strings.empty());
  EXPECT_EQ(environment.files.count(file), 1u);

  // A bag that refuses the list: the commit lands in the file again, and the
  // file is not deleted under it.
  FakePropertyBag refusing;
  refusing.refuseWrites = true;
  environment.files[file] = utf16le(u"L1=1;L200=4;");
  environment.removedFiles.clear();
  const CJD kept(environment, kPrinter, 6, refusing.pointer());
  EXPECT_TRUE(refusing.strings.empty());
  EXPECT_TRUE(environment.removedFiles.empty());
  EXPECT_EQ(environment.files.at(file), utf16le(u"L1=1;L200=4;"));
}

TEST(ClientJobData2ReaderWriter, CommitFallsThroughTheStoresInOrder) {
  FakeClientJobDataEnvironment environment;
  FakePropertyBag bag;
  bag.refuseWrites = true;
  environment.jobs[3].parameters = u"";
  environment.jobs[3].refuseSet = true;
  CJD data(environment, kPrinter, 3, bag.pointer());
  ASSERT_TRUE(data.WasJobFound());
  ASSERT_TRUE(data.CommitAdditions());
  // The bag refused, SetJob failed, so the file holds the list.
  EXPECT_EQ(environment.jobUpdates, (std::vector<unsigned long>{3}));
  EXPECT_EQ(environment.files.at(tempFile(environment, kPrinterACrc, 3)), utf16le(u"L1=1;"));

  // Nothing accepts it: false, and the failure is reported, not thrown.
  FakeClientJobDataEnvironment nowhere;
  nowhere.tempFolderExists = false;
  CJD orphan(nowhere, kPrinter, 4, false, false);
  EXPECT_TRUE(orphan.GetTempFileNameWithPath().empty());
  ScopedExceptionReportRecorder recorder;
  EXPECT_FALSE(orphan.CommitAdditions());
  const std::string reports = recorder.allReports();
  EXPECT_TRUE(contains(reports,
                       "FAILED writing ClientJobData via SetJob(), and the fallback of writing to a temp "
                       "file ('') also failed! Features such as Accounting will be impacted."))
      << reports;
  EXPECT_TRUE(contains(reports, "class CPExceptionClientJobDataFailure")) << reports;
  EXPECT_TRUE(contains(reports, "ClientJobData2ReaderWriter::CommitAdditions")) << reports;
  EXPECT_TRUE(contains(reports, "No store accepted the client job data of job 4")) << reports;
  // The list keeps the committed marker and stays usable.
  long marker = 0;
  EXPECT_TRUE(orphan.GetLongFromParameterList(1, marker));
  EXPECT_EQ(marker, 1);
}

TEST(ClientJobData2ReaderWriter, ReadingFailureIsReportedAndTheObjectStaysUsable) {
  FakeClientJobDataEnvironment environment;
  const std::u16string file = tempFile(environment, kPrinterACrc, 11);
  environment.files[file] = utf16le(u"L1=1;");
  environment.failReads = true;
  ScopedExceptionReportRecorder recorder;
  CJD data(environment, kPrinter, 11, false, true);
  const std::string reports = recorder.allReports();
  EXPECT_TRUE(contains(reports,
                       "FAILED reading ClientJobData via GetJob(), and the fallback of reading from a temp "
                       "file ('" +
                           CXString(file).toUtf8() + "') also failed! Features such as Accounting will be impacted."))
      << reports;
  EXPECT_TRUE(contains(reports, "ClientJobData2ReaderWriter::ClientJobData2ReaderWriter_Init")) << reports;
  EXPECT_TRUE(contains(reports, "class CPExceptionReadFile")) << reports;
  EXPECT_FALSE(data.WasClientJobDataFound());
  data.AddOrReplaceInParameterList(1, 5L);
  environment.failReads = false;
  EXPECT_TRUE(data.CommitAdditions());
  EXPECT_EQ(environment.files.at(file), utf16le(u"L1=1;"));
}

TEST(ClientJobData2ReaderWriter, EnumerationTexts) {
  EXPECT_EQ(CJD::ConvertPrintTimeUiResultStringToEnum(CXString(u"noactionREQUIRED")), CJD::PTUIRE_NO_ACTION_REQUIRED);
  EXPECT_EQ(CJD::ConvertPrintTimeUiResultStringToEnum(CXString(u"OK")), CJD::PTUIRE_OK);
  EXPECT_EQ(CJD::ConvertPrintTimeUiResultStringToEnum(CXString(u"")), CJD::PTUIRE_NONE);
  EXPECT_EQ(CJD::ConvertPrintTimeUiResultStringToEnum(CXString(u"Okay")), CJD::PTUIRE_NONE);
  EXPECT_EQ(CJD::ConvertPrintTimeUiResultEnumToString(CJD::PTUIRE_ERROR).u16string(), u"Error");
  EXPECT_TRUE(CJD::ConvertPrintTimeUiResultEnumToString(CJD::PTUIRE_NONE).empty());
  EXPECT_TRUE(CJD::ConvertPrintTimeUiResultEnumToString(static_cast<CJD::_PrintTimeUiResultEnum>(9)).empty());
  EXPECT_EQ(CJD::ConvertSpoolingMethodStringToEnum(CXString(u"startdocprinter")), CJD::SME_START_DOC_PRINTER);
  EXPECT_EQ(CJD::ConvertSpoolingMethodEnumToString(CJD::SME_ADD_JOB).u16string(), u"AddJob");
  EXPECT_EQ(CJD::ConvertCallbackReasonStringToEnum(CXString(u"SPOOLFILEDONE_RENDERINGWAITING")),
            CJD::CRE_SPOOL_FILE_DONE_RENDERING_WAITING);
  EXPECT_EQ(CJD::ConvertCallbackReasonEnumToString(CJD::CRE_SPOOL_FILE_DONE_RENDERING_NOT_WAITING).u16string(),
            u"SpoolFileDone_RenderingNotWaiting");
  EXPECT_EQ(CJD::ConvertCallbackReasonStringToEnum(CXString(u"StartOfSpooling ")), CJD::CRE_NONE);

  FakeClientJobDataEnvironment environment;
  CJD data(environment, kPrinter, 1, false, false);
  data.AddOrReplaceSpoolingMethodInParameterListFromString(CXString(u"ADDJOB"));
  data.AddOrReplacePrintTimeUiResultInParameterListFromString(CXString(u"bogus"));
  EXPECT_EQ(data.GetPrintProcessorParametersString().u16string(), u"L200=0;L202=2;");
}

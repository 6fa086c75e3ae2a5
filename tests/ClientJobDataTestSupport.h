#pragma once
// Test doubles for client job data: an in-memory environment (spooler jobs,
// files, property bags, printer names, temporary folder) that records what it
// is asked, and a scope that routes the library's caught-exception reports to
// a recorder.

#include "DebuggingAndExceptions/CPException.h"
#include "DebuggingAndExceptions/ExceptionFacility.h"
#include "General/ClientJobDataEnvironment.h"
#include "LowLevelFacilities/LowLevelFacilitiesGlobals.h"
#include "RecordingHosts.h"

#include <map>
#include <string>
#include <vector>

// Replaces the library's exception facility by one with recording hosts for
// the scope's life, then puts the original back.
class ScopedExceptionReportRecorder {
 public:
  ScopedExceptionReportRecorder()
      : m_global(LowLevelFacilitiesGlobals::getExceptionFacility()),
        m_originalPlatform(m_global.getPlatformUtilities()),
        m_originalHost(m_global.getHost()),
        m_originalFlag(m_global.isOneTimeApplicationInitializationFlagSet()) {
    m_global = ExceptionFacility(platform, host);
  }
  ~ScopedExceptionReportRecorder() {
    ExceptionFacility original(m_originalPlatform, m_originalHost);
    if (m_originalFlag) {
      original.setOneTimeApplicationInitializationFlag();
    }
    m_global = std::move(original);
  }
  ScopedExceptionReportRecorder(const ScopedExceptionReportRecorder&) = delete;
  ScopedExceptionReportRecorder& operator=(const ScopedExceptionReportRecorder&) = delete;

  // Every report text received, joined (a long report arrives in two parts).
  std::string allReports() const {
    std::string text;
    for (const auto& report : host.reports) {
      text += report.first + "\n" + report.second + "\n";
    }
    return text;
  }

  RecordingPlatformUtilities platform;
  RecordingExceptionHost host;

 private:
  ExceptionFacility& m_global;
  IPlatformUtilities& m_originalPlatform;
  IExceptionFacilityHost& m_originalHost;
  bool m_originalFlag;
};

// A property bag of the fake environment: its string properties and its
// reference count. The environment hands it around as an opaque pointer.
struct FakePropertyBag {
  std::map<std::u16string, std::u16string> strings;
  int references = 1;
  bool refuseWrites = false;

  IPrintPipelinePropertyBag* pointer() { return reinterpret_cast<IPrintPipelinePropertyBag*>(this); }
  static FakePropertyBag& from(IPrintPipelinePropertyBag* bag) { return *reinterpret_cast<FakePropertyBag*>(bag); }
};

class FakeClientJobDataEnvironment : public IClientJobDataEnvironment {
 public:
  struct Job {
    std::u16string parameters;
    bool refuseSet = false;
    int position = -1;  // as last set
  };

  // ---- state ----
  std::map<unsigned long, Job> jobs;
  std::map<std::u16string, ByteBuffer> files;
  std::u16string printerName = u"\\\\server\\Printer A";
  std::u16string guidPrinterName = u"{5B2E7F4C-0000-4000-8000-00000000AB12}";
  std::u16string tempFolder = u"C:\\Temp\\MeridianDriver\\user";
  bool tempFolderExists = true;
  bool failReads = false;

  // ---- what was asked ----
  std::vector<unsigned long> jobQueries;
  std::vector<unsigned long> jobUpdates;
  std::vector<bool> folderRequests;  // the createIfMissing flag of each request
  std::vector<std::u16string> removedFiles;

  bool GetJobParameters(void*, unsigned long jobId, CXString& parameters) override {
    jobQueries.push_back(jobId);
    const auto found = jobs.find(jobId);
    if (found == jobs.end()) {
      return false;
    }
    parameters = CXString(found->second.parameters);
    return true;
  }
  bool SetJobParameters(void*, unsigned long jobId, const CXString& parameters) override {
    jobUpdates.push_back(jobId);
    const auto found = jobs.find(jobId);
    if (found == jobs.end() || found->second.refuseSet) {
      return false;
    }
    found->second.parameters = parameters.u16string();
    found->second.position = 0;
    return true;
  }
  CXString GetPrinterName(void*) override { return CXString(printerName); }
  CXString GetV4GuidPrinterNameByReverseEngineering(void*) override { return CXString(guidPrinterName); }
  CXString GetDriverTempFolder(bool createIfMissing) override {
    folderRequests.push_back(createIfMissing);
    if (createIfMissing) {
      tempFolderExists = true;
    }
    return tempFolderExists ? CXString(tempFolder) : CXString();
  }
  bool IsExistingFile(const CXString& path) override { return files.count(path.u16string()) != 0; }
  ByteBuffer ReadWholeFile(const CXString& path) override {
    if (failReads) {
      HDU_THROW(CPExceptionReadFile, HDU_DEBUG_CONTEXT("FakeClientJobDataEnvironment::ReadWholeFile"),
                "Reading '%s' failed.", path);
    }
    return files.at(path.u16string());
  }
  void WriteWholeFile(const CXString& path, const ByteBuffer& contents) override { files[path.u16string()] = contents; }
  bool RemoveFile(const CXString& path) override {
    removedFiles.push_back(path.u16string());
    return files.erase(path.u16string()) != 0;
  }
  void AddRefPropertyBag(IPrintPipelinePropertyBag* bag) override { ++FakePropertyBag::from(bag).references; }
  void ReleasePropertyBag(IPrintPipelinePropertyBag* bag) override { --FakePropertyBag::from(bag).references; }
  bool ReadPropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& name, CXString& value) override {
    const auto& strings = FakePropertyBag::from(bag).strings;
    const auto found = strings.find(name.u16string());
    if (found == strings.end()) {
      return false;
    }
    value = CXString(found->second);
    return true;
  }
  bool WritePropertyBagString(IPrintPipelinePropertyBag* bag, const CXString& name, const CXString& value) override {
    FakePropertyBag& fake = FakePropertyBag::from(bag);
    if (fake.refuseWrites) {
      return false;
    }
    fake.strings[name.u16string()] = value.u16string();
    return true;
  }
};

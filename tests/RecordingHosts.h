#pragma once
// Test doubles of the facility hosts and platform utilities: they record what
// they are given.

#include "DebuggingAndExceptions/AssertionFacility.h"
#include "DebuggingAndExceptions/ErrorDisplayFacility.h"
#include "DebuggingAndExceptions/ExceptionFacility.h"
#include "LowLevelFacilities/IPlatformUtilities.h"

#include <string>
#include <utility>
#include <vector>

using TitleAndText = std::pair<std::string, std::string>;

class RecordingPlatformUtilities : public IPlatformUtilities {
 public:
  std::string getComputerNameForLowLevelUtilities() override { return "RECORDER"; }
  void displayDebugMessageForLowLevelUtilities(const char* title, const char* text) const override {
    displayed.emplace_back(title, text);
  }
  CXString GetFeatureChangeDebuggerConfigurationFileContentsFromLocationHint(const CXString&) override { return {}; }

  mutable std::vector<TitleAndText> displayed;
};

class RecordingExceptionHost : public IExceptionFacilityHost {
 public:
  bool allowForExceptionDebugOnThrow(const char* exceptionTypeName, const char* text) override {
    allowQuestions.emplace_back(exceptionTypeName, text);
    return answer;
  }
  void reportAndProcessChoiceForCaughtException(const char* title, const char* text) override {
    reports.emplace_back(title, text);
  }

  bool answer = false;
  std::vector<TitleAndText> allowQuestions;
  std::vector<TitleAndText> reports;
};

class RecordingAssertionHost : public HaldenAssertion::IAssertionFacilityHost {
 public:
  HaldenAssertion::AssertionActionEnum requestAssertionAction(const char*, const char*,
                                                              HaldenAssertion::AssertionActionEnum action) override {
    return action;
  }
  bool areAssertionsProcessedSynchronously() const override { return synchronous; }

  bool synchronous = false;
};

class RecordingErrorDisplayHost : public IErrorDisplayFacilityHost {
 public:
  void reportAndProcessChoiceForError(const char* title, const char* text) override {
    reports.emplace_back(title, text);
  }

  std::vector<TitleAndText> reports;
};

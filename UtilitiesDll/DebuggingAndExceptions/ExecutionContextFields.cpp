#include "DebuggingAndExceptions/ExecutionContextFields.h"

#include "DebuggingAndExceptions/ExecutionContextText.h"

#include <string>
#include <utility>

namespace InternalHaldenCP {

ExecutionContextFields::ExecutionContextFields(int contextId, std::uint64_t categories, CPString&& file,
                                               CPString&& function, int line, bool locationEmbedded, CPString&& text)
    : context(contextId),
      debugLoggingCategoriesToFilterOn(categories),
      fileWhereConstructed(std::exchange(file, CPString())),
      fileNameWhereConstructed(
          std::string(ExecutionContextText::FileNameAfterLastBackslash(fileWhereConstructed.utf8StdString()))),
      functionWhereConstructed(std::exchange(function, CPString())),
      lineNumWhereConstructed(static_cast<std::uint32_t>(line)),
      locationEmbeddedInMsg(locationEmbedded),
      message(std::exchange(text, CPString())) {}

ExecutionContextFields::ExecutionContextFields(int contextId, std::uint64_t categories, CPString&& text)
    : context(contextId),
      debugLoggingCategoriesToFilterOn(categories),
      lineNumWhereConstructed(0),
      locationEmbeddedInMsg(false),
      message(std::exchange(text, CPString())) {}

bool ExecutionContextFields::operator==(const ExecutionContextFields& other) const {
  return context == other.context && debugLoggingCategoriesToFilterOn == other.debugLoggingCategoriesToFilterOn &&
         fileWhereConstructed == other.fileWhereConstructed &&
         functionWhereConstructed == other.functionWhereConstructed &&
         lineNumWhereConstructed == other.lineNumWhereConstructed &&
         locationEmbeddedInMsg == other.locationEmbeddedInMsg && message == other.message;
}

bool ExecutionContextFields::operator<(const ExecutionContextFields& other) const {
  if (context != other.context) {
    return context < other.context;
  }
  if (debugLoggingCategoriesToFilterOn != other.debugLoggingCategoriesToFilterOn) {
    return debugLoggingCategoriesToFilterOn < other.debugLoggingCategoriesToFilterOn;
  }
  if (const int byFile = fileWhereConstructed.utf8StdString().compare(other.fileWhereConstructed.utf8StdString());
      byFile != 0) {
    return byFile < 0;
  }
  if (const int byFunction =
          functionWhereConstructed.utf8StdString().compare(other.functionWhereConstructed.utf8StdString());
      byFunction != 0) {
    return byFunction < 0;
  }
  return lineNumWhereConstructed < other.lineNumWhereConstructed;
}

CPString ExecutionContextFields::SingleLineLocationString() const {
  FormatStringBuffer<1024> buffer;
  ExecutionContextText::AppendSingleLineLocation(buffer, fileNameWhereConstructed.utf8StdString(),
                                                 functionWhereConstructed, lineNumWhereConstructed);
  return CPString(buffer.takeStdString());
}

CPString ExecutionContextFields::DumpDisplayString(std::string_view name, bool includeMessage) const {
  return ExecutionContextText::MakeDumpDisplayString(name, locationEmbeddedInMsg, includeMessage, message,
                                                     fileNameWhereConstructed.utf8StdString(), functionWhereConstructed,
                                                     lineNumWhereConstructed);
}

}  // namespace InternalHaldenCP

#pragma once
// ExecutionContextFields: what a context of either family holds, and what the
// two families (ExecutionContextBase.h, ConstraintExecutionContextBase.h) do
// alike with it: the construction rules, comparison and the display forms
// given the identifier's name. Each family's base class keeps one of these
// and adds its own identifiers, name table and type tests. The fields and
// the rules are described in ExecutionContextBase.h.

#include "LowLevelFacilities/CPString.h"
#include "hdUtilitiesExport.h"

#include <cstdint>
#include <string_view>

namespace InternalHaldenCP {

struct HDU_API ExecutionContextFields {
  // Takes the three strings by move (the sources are left empty); the file
  // name is the part of the file after its last backslash.
  ExecutionContextFields(int contextId, std::uint64_t categories, CPString&& file, CPString&& function, int line,
                         bool locationEmbedded, CPString&& text);
  // File, file name and function empty, line 0, location not embedded.
  ExecutionContextFields(int contextId, std::uint64_t categories, CPString&& text);

  // Every field but the derived file name.
  bool operator==(const ExecutionContextFields& other) const;
  // Identifier, categories, file, function and line; flag and message take no part.
  bool operator<(const ExecutionContextFields& other) const;

  CPString SingleLineLocationString() const;
  // The dump display, `name` being the identifier's name without prefix.
  CPString DumpDisplayString(std::string_view name, bool includeMessage) const;

  int context;
  std::uint64_t debugLoggingCategoriesToFilterOn;
  CPString fileWhereConstructed;
  CPString fileNameWhereConstructed;
  CPString functionWhereConstructed;
  std::uint32_t lineNumWhereConstructed;
  bool locationEmbeddedInMsg;
  CPString message;
};

}  // namespace InternalHaldenCP

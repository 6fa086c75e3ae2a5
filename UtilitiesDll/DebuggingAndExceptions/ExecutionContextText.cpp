#include "DebuggingAndExceptions/ExecutionContextText.h"

#include <memory>
#include <unordered_map>
#include <utility>

namespace InternalHaldenCP {

struct ExecutionContextNameTable::Map {
  std::unordered_map<int, std::string_view> names;
};

std::string_view ExecutionContextNameTable::FindName(int context) const {
  if (!m_resourceUsable.load(std::memory_order_acquire)) {
    return FindNameWithoutMap(context);
  }
  CriticalResourceLock lock(*m_resource);
  // Checked again inside: static destruction may have begun while this
  // thread waited for the lock.
  if (!m_resourceUsable.load(std::memory_order_relaxed)) {
    return FindNameWithoutMap(context);
  }
  if (m_map == nullptr) {
    auto map = std::make_unique<Map>();
    map->names.reserve(m_count);
    for (std::size_t i = 0; i < m_count; ++i) {
      map->names.emplace(m_pairs[i].value, m_pairs[i].name);
    }
    m_map = map.release();
  }
  const auto found = m_map->names.find(context);
  return found != m_map->names.end() ? found->second : std::string_view();
}

std::string_view ExecutionContextNameTable::FindName(int context, bool withPrefix) const {
  const std::string_view name = FindName(context);
  if (withPrefix) {
    return name;
  }
  return name.size() > m_prefix.size() ? name.substr(m_prefix.size()) : std::string_view();
}

bool ExecutionContextNameTable::IsMapBuilt() const {
  if (!m_resourceUsable.load(std::memory_order_acquire)) {
    return false;
  }
  CriticalResourceLock lock(*m_resource);
  return m_map != nullptr;
}

void ExecutionContextNameTable::MarkResourceConstructed() noexcept {
  m_resourceUsable.store(true, std::memory_order_release);
}

void ExecutionContextNameTable::ReleaseAtStaticDestruction() noexcept {
  Map* map = nullptr;
  {
    CriticalResourceLock lock(*m_resource);
    m_resourceUsable.store(false, std::memory_order_release);
    map = std::exchange(m_map, nullptr);
  }
  delete map;
}

std::string_view ExecutionContextNameTable::FindNameWithoutMap(int context) const noexcept {
  for (std::size_t i = 0; i < m_count; ++i) {
    if (m_pairs[i].value == context) {
      return m_pairs[i].name;
    }
  }
  return {};
}

namespace ExecutionContextText {

std::string_view FileNameAfterLastBackslash(std::string_view file) noexcept {
  const std::size_t backslash = file.rfind('\\');
  return backslash == std::string_view::npos ? file : file.substr(backslash + 1);
}

void AppendSingleLineLocation(FormatStringBuffer<1024>& buffer, std::string_view fileName, const CPString& function,
                              std::uint32_t line) {
  const auto signedLine = static_cast<long>(static_cast<std::int32_t>(line));
  if (function.utf8StdString().find("::") != std::string::npos) {
    formatIntoBuffer(buffer, "%s line %ld", function, signedLine);
  } else {
    formatIntoBuffer(buffer, "%s, %s line %ld", fileName, function, signedLine);
  }
}

CPString MakeDumpDisplayString(std::string_view name, bool locationEmbeddedInMessage, bool includeMessage,
                               const CPString& message, std::string_view fileName, const CPString& function,
                               std::uint32_t line) {
  const bool withMessage = includeMessage && !message.isEmpty();
  FormatStringBuffer<1024> buffer;
  if (locationEmbeddedInMessage) {
    if (withMessage) {
      formatIntoBuffer(buffer, "%s: %s", name, message);
    } else {
      buffer.append(name);
    }
    return CPString(buffer.takeStdString());
  }
  FormatStringBuffer<1024> location;
  AppendSingleLineLocation(location, fileName, function, line);
  if (withMessage) {
    formatIntoBuffer(buffer, "%s: %s (%s)", name, message, location.view());
  } else {
    formatIntoBuffer(buffer, "%s (%s)", name, location.view());
  }
  return CPString(buffer.takeStdString());
}

CPString MakeContextAndMessage(std::string_view name, bool withMessage, const CPString& message) {
  std::string result(name);
  if (withMessage && !message.isEmptyOrOnlyWhitespace()) {
    result += "::COMMENT:: ";
    result += message.utf8StdString();
  }
  return CPString(std::move(result));
}

}  // namespace ExecutionContextText

}  // namespace InternalHaldenCP

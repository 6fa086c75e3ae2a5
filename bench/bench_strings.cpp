// String conversions and comparison, side by side with their peers:
// - narrowing UTF-16 to UTF-8 and widening UTF-8 to UTF-16, 4 KiB of ASCII
//   and about 4 KiB of mixed text (accents, CJK, emoji), against utfcpp's
//   checked utf8::utf16to8 / utf8::utf8to16 on the same text;
// - walking the code points of the mixed text with CPString's iterator
//   against utfcpp's checked utf8::iterator;
// - CPString's code-point positions on the mixed text: a substring of 500
//   code points from code point 1,000, and the code-point index of the last
//   line break (reverseFind), against utfcpp's checked utf8::advance and
//   utf8::distance around std::string's substr and rfind;
// - CPString::compareNoCase of two equal 64-byte ASCII strings (different
//   case) against strcasecmp, counting heap allocations per call;
// - CXString::replaceAll (UTF-16) against CPString::replaceAll (UTF-8) and a
//   find/replace loop over std::u16string, on the same text: 100,000 matches
//   in 200,000 units (where a replacement in place is quadratic) and 3
//   matches in 64 units.
//
// This file includes utfcpp's checked header, whose exception classes share
// the namespace utf8 with the library's; CPString.h and CPStringUtils.h do not
// include the library's exception hierarchy, so both can live here.

#include "BenchSupport.h"

#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/CXString.h"

#include <utf8.h>

#include <strings.h>

#include <cstddef>
#include <iterator>
#include <string>

namespace {

std::string asciiText() {
  std::string text;
  const char* const line = "The quick brown fox jumps over the lazy dog; 0123456789 (printer driver).\n";
  while (text.size() < 4096) {
    text += line;
  }
  text.resize(4096);
  return text;
}

std::string mixedText() {
  // Latin with accents (2-byte), CJK (3-byte) and emoji (4-byte) between ASCII.
  const std::string piece =
      "Caf\xC3\xA9 cr\xC3\xA8me br\xC3\xBBl\xC3\xA9"
      "e, \xE4\xB8\xAD\xE6\x96\x87\xE6\x89\x93\xE5\x8D\xB0 "
      "\xF0\x9F\x96\xA8\xEF\xB8\x8F \xF0\x9F\x98\x80 Stra\xC3\x9F"
      "e \xE3\x83\x97\xE3\x83\xAA\xE3\x83\xB3\xE3\x82\xBF\xE3\x83\xBC\n";
  std::string text;
  while (text.size() + piece.size() <= 4096) {
    text += piece;
  }
  return text;
}

const std::string& ascii8() {
  static const std::string text = asciiText();
  return text;
}
const std::string& mixed8() {
  static const std::string text = mixedText();
  return text;
}
const std::u16string& ascii16() {
  static const std::u16string text = CPStringUtils::widenTo_u16string(ascii8());
  return text;
}
const std::u16string& mixed16() {
  static const std::u16string text = CPStringUtils::widenTo_u16string(mixed8());
  return text;
}

void narrowOurs(benchmark::State& state, const std::u16string& input) {
  for (auto _ : state) {
    std::string out = CPStringUtils::narrowToStdString(input);
    hdbench::opaque(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size() * 2));
}

void narrowUtfcpp(benchmark::State& state, const std::u16string& input) {
  for (auto _ : state) {
    std::string out;
    out.reserve(input.size());
    utf8::utf16to8(input.begin(), input.end(), std::back_inserter(out));
    hdbench::opaque(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size() * 2));
}

void widenOurs(benchmark::State& state, const std::string& input) {
  for (auto _ : state) {
    std::u16string out = CPStringUtils::widenTo_u16string(input);
    hdbench::opaque(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void widenUtfcpp(benchmark::State& state, const std::string& input) {
  for (auto _ : state) {
    std::u16string out;
    out.reserve(input.size());
    utf8::utf8to16(input.begin(), input.end(), std::back_inserter(out));
    hdbench::opaque(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void BM_narrowAsciiOurs(benchmark::State& state) {
  narrowOurs(state, ascii16());
}
void BM_narrowAsciiUtfcpp(benchmark::State& state) {
  narrowUtfcpp(state, ascii16());
}
void BM_widenAsciiOurs(benchmark::State& state) {
  widenOurs(state, ascii8());
}
void BM_widenAsciiUtfcpp(benchmark::State& state) {
  widenUtfcpp(state, ascii8());
}
void BM_narrowMixedOurs(benchmark::State& state) {
  narrowOurs(state, mixed16());
}
void BM_narrowMixedUtfcpp(benchmark::State& state) {
  narrowUtfcpp(state, mixed16());
}
void BM_widenMixedOurs(benchmark::State& state) {
  widenOurs(state, mixed8());
}
void BM_widenMixedUtfcpp(benchmark::State& state) {
  widenUtfcpp(state, mixed8());
}

void BM_iterateMixedOurs(benchmark::State& state) {
  const CPString text(mixed8());
  for (auto _ : state) {
    char32_t sum = 0;
    for (const char32_t c : text) {
      sum += c;
    }
    hdbench::opaque(sum);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * mixed8().size()));
}

void BM_iterateMixedUtfcpp(benchmark::State& state) {
  const std::string& text = mixed8();
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  for (auto _ : state) {
    char32_t sum = 0;
    for (utf8::iterator<const char*> it(begin, begin, end), last(end, begin, end); it != last; ++it) {
      sum += *it;
    }
    hdbench::opaque(sum);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// Code-point positions: both sides validate every sequence they walk.
void BM_substringCodePointsOurs(benchmark::State& state) {
  const CPString text(mixed8());
  for (auto _ : state) {
    hdbench::opaque(text);
    CPString piece = text.substring(SizeCodePoints32Struct(1000), SizeCodePoints32Struct(500));
    hdbench::opaque(piece);
  }
}

void BM_substringCodePointsUtfcpp(benchmark::State& state) {
  const std::string& text = mixed8();
  for (auto _ : state) {
    hdbench::opaque(text);
    const char* from = text.data();
    utf8::advance(from, 1000, text.data() + text.size());
    const char* to = from;
    utf8::advance(to, 500, text.data() + text.size());
    std::string piece = text.substr(static_cast<std::size_t>(from - text.data()), static_cast<std::size_t>(to - from));
    hdbench::opaque(piece);
  }
}

void BM_reverseFindIndexOurs(benchmark::State& state) {
  const CPString text(mixed8());
  for (auto _ : state) {
    hdbench::opaque(text);
    SizeCodePoints32Struct index = text.reverseFind('\n');
    hdbench::opaque(index);
  }
}

void BM_reverseFindIndexUtfcpp(benchmark::State& state) {
  const std::string& text = mixed8();
  for (auto _ : state) {
    hdbench::opaque(text);
    const std::size_t found = text.rfind('\n');
    auto index = static_cast<unsigned>(utf8::distance(text.data(), text.data() + found));
    hdbench::opaque(index);
  }
}

constexpr const char* kCompareA = "Printer-Driver settings for the Halden family, version 6.0 (x86)";
constexpr const char* kCompareB = "PRINTER-DRIVER SETTINGS FOR THE HALDEN FAMILY, VERSION 6.0 (X86)";
static_assert(std::char_traits<char>::length(kCompareA) == 64);

void BM_compareNoCaseOurs(benchmark::State& state) {
  const CPString a(kCompareA);
  const CPString b(kCompareB);
  const hdbench::AllocationCounter allocations;
  for (auto _ : state) {
    hdbench::opaque(a);
    hdbench::opaque(b);
    int result = a.compareNoCase(b);
    hdbench::opaque(result);
  }
  state.counters["allocations_per_call"] =
      static_cast<double>(allocations.allocations()) / static_cast<double>(state.iterations());
}

void BM_compareNoCaseStrcasecmp(benchmark::State& state) {
  const std::string a(kCompareA);
  const std::string b(kCompareB);
  const hdbench::AllocationCounter allocations;
  for (auto _ : state) {
    hdbench::opaque(a);
    hdbench::opaque(b);
    int result = ::strcasecmp(a.c_str(), b.c_str());
    hdbench::opaque(result);
  }
  state.counters["allocations_per_call"] =
      static_cast<double>(allocations.allocations()) / static_cast<double>(state.iterations());
}

// ---- replaceAll ----------------------------------------------------------------------

std::u16string replaceText(std::size_t matches) {
  std::u16string text;
  for (std::size_t i = 0; i < matches; ++i) {
    text += u"a-";
  }
  return text;
}

const std::u16string& manyMatches16() {
  static const std::u16string text = replaceText(100000);
  return text;
}
const std::u16string& fewMatches16() {
  // 64 units, 3 matches.
  static const std::u16string text = u"C:\\Program Files-Halden\\Driver-Settings\\printer-x64.dat and more";
  return text;
}

void replaceAllCXString(benchmark::State& state, const std::u16string& input) {
  const CXString from(u"-");
  const CXString to(u"+-");
  for (auto _ : state) {
    CXString text(input);
    hdbench::opaque(text);
    std::size_t count = text.replaceAll(from, to);
    hdbench::opaque(count);
    hdbench::opaque(text);
  }
}

void replaceAllCPString(benchmark::State& state, const std::u16string& input) {
  const CPString utf8(CPStringUtils::narrowToStdString(input));
  const CPString from("-");
  const CPString to("+-");
  for (auto _ : state) {
    CPString text(utf8);
    hdbench::opaque(text);
    text.replaceAll(from, to);
    hdbench::opaque(text);
  }
}

// The plain loop: find, replace in place, go on behind the replacement.
void replaceAllStdU16String(benchmark::State& state, const std::u16string& input) {
  const std::u16string from(u"-");
  const std::u16string to(u"+-");
  for (auto _ : state) {
    std::u16string text(input);
    hdbench::opaque(text);
    std::size_t count = 0;
    for (std::size_t at = text.find(from); at != std::u16string::npos; at = text.find(from, at + to.size())) {
      text.replace(at, from.size(), to);
      ++count;
    }
    hdbench::opaque(count);
    hdbench::opaque(text);
  }
}

void BM_replaceAllManyOurs(benchmark::State& state) {
  replaceAllCXString(state, manyMatches16());
}
void BM_replaceAllManyCPString(benchmark::State& state) {
  replaceAllCPString(state, manyMatches16());
}
void BM_replaceAllManyStdString(benchmark::State& state) {
  replaceAllStdU16String(state, manyMatches16());
}
void BM_replaceAllFewOurs(benchmark::State& state) {
  replaceAllCXString(state, fewMatches16());
}
void BM_replaceAllFewCPString(benchmark::State& state) {
  replaceAllCPString(state, fewMatches16());
}
void BM_replaceAllFewStdString(benchmark::State& state) {
  replaceAllStdU16String(state, fewMatches16());
}

}  // namespace

BENCHMARK(BM_narrowAsciiOurs)->Name("narrow_ascii_4KiB/ours");
BENCHMARK(BM_narrowAsciiUtfcpp)->Name("narrow_ascii_4KiB/utfcpp");
BENCHMARK(BM_widenAsciiOurs)->Name("widen_ascii_4KiB/ours");
BENCHMARK(BM_widenAsciiUtfcpp)->Name("widen_ascii_4KiB/utfcpp");
BENCHMARK(BM_narrowMixedOurs)->Name("narrow_mixed_4KiB/ours");
BENCHMARK(BM_narrowMixedUtfcpp)->Name("narrow_mixed_4KiB/utfcpp");
BENCHMARK(BM_widenMixedOurs)->Name("widen_mixed_4KiB/ours");
BENCHMARK(BM_widenMixedUtfcpp)->Name("widen_mixed_4KiB/utfcpp");
BENCHMARK(BM_iterateMixedOurs)->Name("iterate_mixed_4KiB/ours");
BENCHMARK(BM_iterateMixedUtfcpp)->Name("iterate_mixed_4KiB/utfcpp");
BENCHMARK(BM_substringCodePointsOurs)->Name("substring_500_codepoints_mixed/ours");
BENCHMARK(BM_substringCodePointsUtfcpp)->Name("substring_500_codepoints_mixed/utfcpp");
BENCHMARK(BM_reverseFindIndexOurs)->Name("reverseFind_codepoint_index_mixed_4KiB/ours");
BENCHMARK(BM_reverseFindIndexUtfcpp)->Name("reverseFind_codepoint_index_mixed_4KiB/utfcpp");
BENCHMARK(BM_compareNoCaseOurs)->Name("compareNoCase_64B/ours");
BENCHMARK(BM_compareNoCaseStrcasecmp)->Name("compareNoCase_64B/strcasecmp");
BENCHMARK(BM_replaceAllManyOurs)->Name("CXString_replaceAll_100000_matches/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_replaceAllManyCPString)
    ->Name("CXString_replaceAll_100000_matches/CPString")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_replaceAllManyStdString)
    ->Name("CXString_replaceAll_100000_matches/u16string_in_place")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_replaceAllFewOurs)->Name("CXString_replaceAll_64_units_3_matches/ours");
BENCHMARK(BM_replaceAllFewCPString)->Name("CXString_replaceAll_64_units_3_matches/CPString");
BENCHMARK(BM_replaceAllFewStdString)->Name("CXString_replaceAll_64_units_3_matches/u16string_in_place");

HDU_BENCHMARK_MAIN()

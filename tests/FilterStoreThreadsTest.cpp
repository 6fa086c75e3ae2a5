// Filter lists and client job data from several threads at once: the XML
// parser is set up once by whichever thread comes first, and stores and
// records on different threads share nothing.

#include "DebuggingAndExceptions/CPException.h"
#include "General/ClientJobDataParameterList.h"
#include "General/FilterListXmlReader.h"
#include "General/FilterStore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

TEST(FilterStoreThreads, ParsersAndStoresOnManyThreads) {
  const std::string xml =
      "<Filters><Filter name=\"Preview.1,{0000000A-1234-5678-9ABC-DEF01122330A},a\"/>"
      "<Filter name=\"PostProcessing.2,{0000000B-1234-5678-9ABC-DEF01122330B},b\"/></Filters>";
  const ByteBuffer document(reinterpret_cast<const unsigned char*>(xml.data()), static_cast<unsigned long>(xml.size()));
  constexpr int kThreads = 6;
  constexpr int kRounds = 150;
  std::atomic<int> failures{0};
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load()) {
        std::this_thread::yield();
      }
      for (int round = 0; round < kRounds; ++round) {
        const std::vector<CXString> names = FilterListXmlReader::ReadFilterNames(document, CXString(u"threads"));
        FilterStore store;
        if (names.size() != 2 || !store.InitializeTargetFilterList(names) || store.Size() != 2 ||
            store.GetTargetFilters()[0].GetPriority() != ((5000u << 16) | 1u)) {
          ++failures;
        }
        try {
          FilterListXmlReader::ReadFilterNames(ByteBuffer{'<', 'a', '>'}, CXString(u"broken"));
          ++failures;
        } catch (const CPExceptionXMLConfigurationFileParseFailed&) {
        }
        ClientJobDataParameterList list;
        list.AddOrReplaceLong(t, round);
        list.AddOrReplaceString(t + 100, CXString(u"thread"));
        long value = -1;
        if (!list.GetLong(t, value) || value != round) {
          ++failures;
        }
      }
    });
  }
  go = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures.load(), 0);
}

#include "General/Hash32.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

TEST(Hash32, DevmodeHashCoversThePublicAndDriverPrivateParts) {
  const std::size_t extra = 24;
  std::vector<unsigned char> memory(sizeof(DEVMODEW) + extra + 16, 0);
  auto* devmode = reinterpret_cast<DEVMODEW*>(memory.data());
  devmode->dmSize = sizeof(DEVMODEW);
  devmode->dmDriverExtra = static_cast<WORD>(extra);
  devmode->dmOrientation = DMORIENT_LANDSCAPE;
  for (std::size_t i = 0; i < extra; ++i) {
    memory[sizeof(DEVMODEW) + i] = static_cast<unsigned char>(i * 3 + 1);
  }
  const unsigned long hash = Hash32::GetHash32(devmode);
  EXPECT_EQ(hash, Hash32::GetHash32(memory.data(), static_cast<unsigned long>(sizeof(DEVMODEW) + extra)));
  EXPECT_NE(hash, 0ul);

  // A change in the private part changes the hash; bytes beyond it do not.
  memory[sizeof(DEVMODEW) + extra + 3] = 0x55;
  EXPECT_EQ(Hash32::GetHash32(devmode), hash);
  memory[sizeof(DEVMODEW) + extra - 1] ^= 0xFF;
  EXPECT_NE(Hash32::GetHash32(devmode), hash);

  EXPECT_EQ(Hash32::GetHash32(static_cast<const DEVMODEW*>(nullptr)), 0ul);
}

// The hash of a name, for the indices over symbols and variables.
#pragma once

#include <cstdint>

namespace tessel {

inline constexpr int kNameBuckets = 4096;

// FNV-1a over the name's bytes, as a bucket from 0 to kNameBuckets - 1.
inline int NameBucket(const char *name) {
  std::uint32_t hash = 2166136261U;
  for (; *name != '\0'; ++name) hash = (hash ^ static_cast<unsigned char>(*name)) * 16777619U;
  return static_cast<int>(hash % kNameBuckets);
}

}  // namespace tessel

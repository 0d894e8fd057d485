// The library under test, opened once.
#pragma once

#include <gtest/gtest.h>
#include <morv/host.hpp>

inline morv::Library &TesselLibrary() {
  static morv::Library library;
  static const std::string error = library.Open(TESSEL_LIBRARY);
  EXPECT_EQ(error, "");
  return library;
}

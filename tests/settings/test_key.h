#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "settings/reg_key.h"

/// A new key below the user's software that vanishes at the end of its scope.
struct TestKey {
  TestKey() {
    const std::string number = std::to_string(std::random_device()());
    name = u"TessaronTest-" + std::u16string(number.begin(), number.end());
    EXPECT_EQ(software.Create(HKEY_CURRENT_USER, u"Software"), ERROR_SUCCESS);
    EXPECT_EQ(key.Create(software.m_hKey, name.c_str()), ERROR_SUCCESS);
  }
  ~TestKey() {
    key.Close();
    EXPECT_EQ(software.DeleteSubKey(name.c_str()), ERROR_SUCCESS);
  }

  std::u16string name;
  CRegKey software;
  CRegKeyEx key;
};

#include "settings/single_instance.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "platform/types.h"

namespace {

// The same in a process that a test starts, another one in another build folder.
std::u16string ownName(const char* test) {
  const std::string name =
      "tessaron " + std::to_string(hash_value(std::filesystem::current_path())) + test;
  return std::u16string(name.begin(), name.end());
}

bool isRunning(const std::u16string& name) {
  return CLimitSingleInstance(name.c_str()).IsAnotherInstanceRunning();
}

}  // namespace

TEST(CLimitSingleInstance, FindsOthersOfItsNameUntilTheLastOneGoes) {
  const std::u16string name = ownName("a/../\u00E4:*%");
  auto first = std::make_unique<CLimitSingleInstance>(name.c_str());
  EXPECT_FALSE(first->IsAnotherInstanceRunning());
  EXPECT_EQ(first->m_dwLastError, 0u);
  ASSERT_NE(first->m_hMutex, nullptr);
  auto second = std::make_unique<CLimitSingleInstance>((u"Local\\" + name).c_str());
  EXPECT_TRUE(second->IsAnotherInstanceRunning());
  EXPECT_FALSE(first->IsAnotherInstanceRunning());
  EXPECT_FALSE(isRunning(name + u"x"));
  EXPECT_FALSE(isRunning(u"T" + name.substr(1)));
  first.reset();
  EXPECT_TRUE(isRunning(name));
  second.reset();
  EXPECT_FALSE(isRunning(name));

  // A copy closes the mutex of its original.
  auto last = std::make_unique<CLimitSingleInstance>(name.c_str());
  CLimitSingleInstance keeper(ownName("other").c_str());
  keeper = *last;
  EXPECT_TRUE(isRunning(name));
  last.reset();
  EXPECT_FALSE(isRunning(name));
}

TEST(CLimitSingleInstance, IsNotRunningWhenItsNameIsNone) {
  const std::u16string longest(250, u'\u4E16');
  {
    const CLimitSingleInstance first(u"no\\such\\place"), second(u"no\\such\\place");
    EXPECT_FALSE(second.IsAnotherInstanceRunning());
    EXPECT_EQ(second.m_dwLastError, 0u + ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(second.m_hMutex, nullptr);
  }
  for (const char16_t* name : {static_cast<const char16_t*>(nullptr), u""}) {
    const CLimitSingleInstance first(name), second(name);
    EXPECT_FALSE(second.IsAnotherInstanceRunning());
    EXPECT_NE(second.m_hMutex, nullptr);
  }
  const CLimitSingleInstance first(longest.c_str());
  EXPECT_FALSE(first.IsAnotherInstanceRunning());
  EXPECT_TRUE(isRunning(longest));
  EXPECT_FALSE(isRunning(longest + u"\u4E16"));
}

// A process that is killed while it holds a guard that this one sees.
TEST(CLimitSingleInstance, GoesWithItsProcess) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const std::u16string name = ownName("killed");
  EXPECT_DEATH(
      {
        const CLimitSingleInstance guard(name.c_str());
        if (!guard.IsAnotherInstanceRunning() && isRunning(name)) std::fputs("is held", stderr);
        std::raise(9);  // a kill, where there are signals
        std::_Exit(9);
      },
      "is held");
  EXPECT_FALSE(isRunning(name));

  const CLimitSingleInstance guard(name.c_str());
  EXPECT_DEATH(
      {
        if (isRunning(name)) std::fputs("is seen", stderr);
        std::_Exit(9);
      },
      "is seen");
  EXPECT_FALSE(guard.IsAnotherInstanceRunning());
}

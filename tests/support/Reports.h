#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/base/psChecked.h"

namespace ps::test {

// What the checked build reports while one lives, instead of stopping the test.
class Reports {
 public:
  Reports()
      : before_(ps::detail::setMisuseHandler([](const std::string& sentence) { sentences().push_back(sentence); })) {
    sentences().clear();
  }
  Reports(const Reports&) = delete;
  Reports& operator=(const Reports&) = delete;
  ~Reports() { ps::detail::setMisuseHandler(before_); }

  // The sentences since the last call, in one.
  static std::string take() {
    std::string all;
    for (const std::string& sentence : sentences()) all += sentence + "\n";
    sentences().clear();
    return all;
  }

  static void expect(const std::string& part) {
    const std::string all = take();
    EXPECT_NE(all.find(part), std::string::npos) << "no \"" << part << "\" in: " << all;
  }

 private:
  static std::vector<std::string>& sentences() {
    static std::vector<std::string> all;
    return all;
  }

  ps::detail::MisuseHandler before_;
};

}  // namespace ps::test

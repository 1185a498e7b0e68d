#pragma once

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

class SandboxProgram : public testing::Test {
 protected:
  /// The program in a process of its own, its output in a file.
  ChildProcess run(std::vector<std::string> options) {
    options.insert(options.begin(), {SANDBOX_PROGRAM, "sandbox"});
    return ChildProcess(options, folder.file("output"));
  }
  /// With the ends of lines that are the same on every system.
  std::string output() {
    std::string text = folder.read("output");
    std::erase(text, '\r');
    return text;
  }
  /// The address that the program printed; it listens from then on.
  std::string address() {
    const std::string mark = "stand-in servers listen on ";
    EXPECT_TRUE(waitUntil([&] { return output().find('\n') != std::string::npos; }));
    const std::string text = output();
    const std::size_t start = text.find(mark) + mark.size();
    return text.substr(start, text.find(';', start) - start);
  }

  std::string pathAfter(const std::string& mark) {
    const std::string text = output();
    const std::size_t start = text.find(mark) + mark.size();
    return text.substr(start, text.find('\n', start) - start);
  }

  TemporaryDirectory folder;
};

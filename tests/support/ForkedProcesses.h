#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

/// What `work` returns, given a number from 0 on, in each of `count` copies of this process that start
/// together; 255 for one that a signal ended.
template <class Work>
std::vector<int> inForkedProcesses(int count, Work work) {
  int start[2];
  EXPECT_EQ(::pipe(start), 0);
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      char byte = 0;
      ::close(start[1]);
      (void)!::read(start[0], &byte, 1);
      ::_exit(work(i));
    }
    children.push_back(child);
  }
  ::close(start[0]);
  ::close(start[1]);
  std::vector<int> codes;
  for (const pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    codes.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : 255);
  }
  return codes;
}

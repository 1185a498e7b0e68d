#include <BsNet/BsErrorInfo.h>
#include <BsNet/BsInfoReader.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(RecordThreads, ReadersWritersAndCopiersShareRecords) {
  KBL::BsBaseInfoRW left;
  KBL::BsBaseInfoRW right;
  std::atomic<bool> wrong{false};
  std::vector<std::thread> threads;
  for (int writer = 0; writer < 2; ++writer) {
    threads.emplace_back([&, writer] {
      for (int i = 0; i < 2000; ++i) {
        auto& record = writer == 0 ? left : right;
        record.setCharKeyConfig("progress", std::to_string(i % 100).c_str());
        record.setIntKeyConfig("number", i);
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < 500; ++i) left.updataFrom(&right);
  });
  threads.emplace_back([&] {
    for (int i = 0; i < 500; ++i) right.CopyInfo(&left);
  });
  threads.emplace_back([&] {
    for (int i = 0; i < 2000; ++i) {
      const char* const text = left.charKeyConfig("progress");
      if (text != nullptr && std::string(text).size() > 2) wrong = true;
      (void)right.intKeyConfig("number");
    }
  });
  for (std::thread& thread : threads) thread.join();

  EXPECT_FALSE(wrong);
}

TEST(RecordThreads, TextReadByOneThreadSurvivesTheWritesOfAnother) {
  KBL::BsBaseInfoRW record;
  record.setCharKeyConfig("token", std::string(200, 'a').c_str());
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int i = 0; i < 3000; ++i) {
      record.setCharKeyConfig("token", std::string(200, static_cast<char>('a' + i % 26)).c_str());
    }
    done = true;
  });
  bool wrong = false;
  while (!done) {
    const std::string text = record.charKeyConfig("token");
    wrong = wrong || text != std::string(200, text[0]);
  }
  writer.join();

  EXPECT_FALSE(wrong);
}

TEST(RecordThreads, ErrorKeepsCodeAndMessageOfOneWriterTogether) {
  KBL::BsErrorInfo error;
  std::vector<std::thread> writers;
  for (int writer = 1; writer <= 4; ++writer) {
    writers.emplace_back([&error, writer] {
      for (int i = 0; i < 1000; ++i) error.setError(writer, std::to_string(writer).c_str());
    });
  }
  for (std::thread& writer : writers) writer.join();

  EXPECT_EQ(std::to_string(error.errorCode()), error.errorMessage());
}

}  // namespace

// The typed upload over a transfer of the test's own, which says what no service says on request.
#include <ExternlMediaTransfer/host/Upload.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefCnt.h>
#include <KblUtils/RefPtr.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cstdarg>
#include <vector>

using namespace std::chrono_literals;
using KBL::host::Failure;
using KBL::host::Upload;
using KBL::host::UploadEnd;
using KBL::host::UploadJob;
using testing::ElementsAre;

namespace {

/// Keeps what it is given. The test tells events in its place.
class ToldTransfer final : public KBL::RefCnt<ToldTransfer>, public virtual KBL::IExternlMediaTransfer {
 public:
  static ToldTransfer* latest;

  ToldTransfer() { latest = this; }
  ~ToldTransfer() override { latest = nullptr; }

  void* QueryInterfaceByName(const char* name) override {
    return KBL::castByName(this, name, KBL::Named<KBL::IExternlMediaTransfer>{"IExternlMediaTransfer"});
  }
  std::int32_t Start() override { return KBL::resultOk; }
  std::int32_t Stop() override { return KBL::resultOk; }
  std::int32_t Command(int command, ...) override {
    std::va_list arguments;
    va_start(arguments, command);
    if (command == KBL::commandSetRecord) record = *va_arg(arguments, const KBL::hostTransferRecord*);
    if (command == KBL::commandSetCallback) callback_ = va_arg(arguments, KBL::TransferCallback);
    if (command == KBL::commandSetContext) context_ = va_arg(arguments, void*);
    va_end(arguments);
    return KBL::resultOk;
  }
  std::int32_t Query(int, ...) override { return KBL::resultFailed; }

  void tell(int event, int value, const char* text) { callback_(context_, this, event, value, text); }
  void tellProgress(int percent) { tell(KBL::transferEventProgress, percent, ""); }
  void tellError(const char* text) { tell(KBL::transferEventError, 3, text); }

  KBL::hostTransferRecord record{};

 private:
  KBL::TransferCallback callback_ = nullptr;
  void* context_ = nullptr;
};
ToldTransfer* ToldTransfer::latest = nullptr;

class UploadEvents : public testing::Test {
 protected:
  explicit UploadEvents(KBL::TransferPlatform platform = KBL::transferVimeo)
      : upload(platform, {[this](int percent) { progress.push_back(percent); },
                          [this](const Failure& failure) { errors.push_back(failure.code); }}) {}

  ToldTransfer& transfer() { return *ToldTransfer::latest; }

  std::vector<int> progress;
  std::vector<int> errors;
  Upload upload;
};

TEST_F(UploadEvents, PutEachTextIntoItsField) {
  upload.start(UploadJob{"a file", "a title", "a privacy", "a description", "some tags", "a category",
                         "a thumbnail", "a user", 11, 12});
  const KBL::hostTransferRecord& record = transfer().record;
  EXPECT_STREQ(record.filePath, "a file");
  EXPECT_STREQ(record.title, "a title");
  EXPECT_STREQ(record.privacy, "a privacy");
  EXPECT_STREQ(record.description, "a description");
  EXPECT_STREQ(record.tags, "some tags");
  EXPECT_STREQ(record.category, "a category");
  EXPECT_STREQ(record.thumbnailPath, "a thumbnail");
  EXPECT_STREQ(record.userUuid, "a user");
  EXPECT_EQ(record.useClient, 11);
  EXPECT_EQ(record.actionType, 12);
}

TEST_F(UploadEvents, OfATokenThatScriptsFindInvalidEndIt) {
  const auto end = upload.start({"file", "title"});
  transfer().tell(KBL::transferEventTokenInvalid, 5, "sign in again");
  ASSERT_TRUE(end.get());
  EXPECT_EQ(end.get()->how, UploadEnd::How::failed);
  EXPECT_EQ(end.get()->failure.code, KBL::ErrorCode::tokenExpired);
  EXPECT_EQ(end.get()->failure.message, "sign in again");
  EXPECT_EQ(end.get()->value, 5);
  EXPECT_THAT(errors, ElementsAre(KBL::ErrorCode::tokenExpired));
}

TEST_F(UploadEvents, OfAnErrorBringItsCodeTextAndKind) {
  const auto end = upload.start({"file", "title"});
  transfer().tellProgress(7);
  transfer().tellError("403,no, not here");
  ASSERT_TRUE(end.get()) << "only Douyin goes on behind an error";
  EXPECT_EQ(end.get()->failure.code, 403);
  EXPECT_EQ(end.get()->failure.message, "no, not here");
  EXPECT_EQ(end.get()->value, 3);
  EXPECT_THAT(progress, ElementsAre(7));
}

TEST_F(UploadEvents, OfAnyKindPutTheSilenceOff) {
  constexpr auto patience = 1s;
  upload.start({"file", "title"});
  const auto begun = std::chrono::steady_clock::now();
  do {
    transfer().tellProgress(1);
    ASSERT_FALSE(upload.endAfter(patience));
  } while (std::chrono::steady_clock::now() - begun < patience + 100ms);
  EXPECT_EQ(upload.waitForEnd(patience).how, UploadEnd::How::silent);
}

class DouyinUploadEvents : public UploadEvents {
 protected:
  DouyinUploadEvents() : UploadEvents(KBL::transferDouyin) {}
};

TEST_F(DouyinUploadEvents, OfProgressMendTheErrorAheadOfThem) {
  const auto end = upload.start({"file", "title"});
  transfer().tellProgress(1);
  transfer().tellError("500,once more");
  EXPECT_FALSE(end.get()) << "progress might follow";
  transfer().tellProgress(2);
  EXPECT_EQ(upload.waitForEnd(0ms).how, UploadEnd::How::silent) << "not for the error, which was mended";
  EXPECT_THAT(errors, ElementsAre(500));
}

TEST_F(DouyinUploadEvents, OfAnErrorAheadOfAllProgressEndIt) {
  const auto end = upload.start({"file", "title"});
  transfer().tellError("500,at once");
  ASSERT_TRUE(end.get());
  EXPECT_EQ(end.get()->failure.code, 500);
}

TEST_F(DouyinUploadEvents, OfTheOneAheadOfItDoNotCountForTheNext) {
  upload.start({"file", "title"});
  transfer().tellProgress(1);
  transfer().tellError("500,the first one's");
  const auto next = upload.start({"file", "title"});
  EXPECT_EQ(upload.waitForEnd(0ms).how, UploadEnd::How::silent) << "nothing was said of this one";
  EXPECT_EQ(next.get()->how, UploadEnd::How::silent);
}

}  // namespace

/// In place of the library's.
KBL::IExternlMediaTransfer* createEMTUpTransfer(int) {
  return KBL::makeRef<ToldTransfer>().leak();
}

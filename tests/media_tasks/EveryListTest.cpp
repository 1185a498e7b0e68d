// What every listing bears, whatever the service and the host do.
#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/ListFixture.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"
#include "media_tasks/SNRFlickrImageTask.h"
#include "media_tasks/SNRInstagramImageTask.h"
#include "support/ManualTimeSource.h"
#include "support/RecordingLogger.h"

#include <json/json.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Task = std::unique_ptr<KBL::SNRRequestTask>;

/// One kind of list, with a page that holds two items and a text of every kind that its task reads.
struct ListKind {
  const char* name;
  Task (*make)(bool listens, KBL::MediaFetcher& fetcher);
  const char* page;
  /// What makes the same page lead to itself for ever; "URL" stands for the server's address.
  const char* link;
  /// A page that holds the service's own failure "m", with a CODE.
  const char* failure;
  /// Fetches that begin once the host has stopped the list in its first page; of all lists one asks for a
  /// stop only within its fetches.
  std::size_t fetchesBehindAStop = 0;
  bool closesAfterAnError = true;
};

void PrintTo(const ListKind& kind, std::ostream* out) {
  *out << kind.name;
}

template <class List, class Item, class... Texts>
Task make(bool listens, KBL::MediaFetcher& fetcher, Item onItem, Texts... texts) {
  const Item noItem = nullptr;
  const KBL::MediaErrorCallback noError = nullptr;
  return std::make_unique<List>(texts..., listens ? onItem : noItem, listens ? &MediaHost::onError : noError,
                                fetcher);
}

Task albums(bool listens, KBL::MediaFetcher& fetcher) {
  return make<KBL::SNRFacebookEnumAlbumInfoTask>(listens, fetcher, &MediaHost::onAlbum, "T");
}
Task photos(bool listens, KBL::MediaFetcher& fetcher) {
  return make<KBL::SNRFacebookEnumMediaInfoTask>(listens, fetcher, &MediaHost::onMedia, "T", "1");
}
Task videos(bool listens, KBL::MediaFetcher& fetcher) {
  return make<KBL::SNRFacebookEnumMediaInfoTask>(listens, fetcher, &MediaHost::onMedia, "T",
                                                 "FACEBOOK_VIDEO");
}
Task flickr(bool listens, KBL::MediaFetcher& fetcher) {
  return make<KBL::SNRFlickrImageTask>(listens, fetcher, &MediaHost::onMedia, "K", "S", "T|S");
}
Task instagram(bool listens, KBL::MediaFetcher& fetcher) {
  return make<KBL::SNRInstagramImageTask>(listens, fetcher, &MediaHost::onMedia, "T");
}

constexpr const char* graphFailure = R"({"error":{"code":CODE,"message":"m"}})";
constexpr const char* graphLink = R"({"paging":{"next":"URL/graph/again"}})";

const ListKind kinds[] = {
    {"Albums", &albums, R"({"data":[{"id":"1","name":"a"},{"id":"2","name":"b"}],"paging":{"next":""}})",
     graphLink, graphFailure, 1, false},
    {"Photos", &photos,
     R"({"data":[{"source":"a","picture":"b","images":[{"width":3,"height":4,"source":"c"}]},
         {"source":"d","picture":"e"}],"paging":{"next":""}})",
     graphLink, graphFailure},
    {"Videos", &videos,
     R"({"data":[{"type":"video","status_type":"added_video","object_id":"","source":"a","picture":"b"},
         {"type":"video","status_type":"added_video","source":"c","picture":"d"}],"paging":{"next":""}})",
     graphLink, graphFailure},
    {"Flickr", &flickr,
     R"({"stat":"ok","photos":{"page":1,"pages":1,"photo":[
         {"id":"1","secret":"s","server":"v","farm":1,"url_o":"u"},{"id":"2"}]}})",
     R"({"photos":{"pages":1000000}})", R"({"stat":"fail","code":CODE,"message":"m"})"},
    {"Instagram", &instagram,
     R"({"meta":{"code":200,"message":""},"data":[{"images":{"standard_resolution":{"url":"i"},
         "thumbnail":{"url":"t"}},"videos":{"standard_resolution":{"url":"v"}}},{"images":{}}],
         "pagination":{"next_max_id":""}})",
     R"({"pagination":{"next_max_id":"7"}})", R"({"meta":{"code":CODE,"message":"m"}})"},
};

Json::Value parsed(const std::string& text) {
  Json::Value value;
  std::istringstream stream(text);
  stream >> value;
  return value;
}

std::string printed(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

/// Puts the members of `from` over those of `into`.
void merge(Json::Value& into, const Json::Value& from) {
  for (const std::string& name : from.getMemberNames()) {
    if (from[name].isObject()) {
      merge(into[name], from[name]);
    } else {
      into[name] = from[name];
    }
  }
}

/// Calls `visit` with every value inside `value`, and with itself.
void eachPart(Json::Value& value, const std::function<void(Json::Value& part)>& visit) {
  visit(value);
  if (!value.isObject() && !value.isArray()) return;
  for (Json::Value& member : value) eachPart(member, visit);
}

/// A value of every type, and those at the edges of their types.
std::vector<Json::Value> oddValues() {
  Json::Value deep(Json::arrayValue);
  for (int level = 0; level < 900; ++level) {
    Json::Value outer(Json::arrayValue);
    outer.append(std::move(deep));
    deep = std::move(outer);
  }
  std::vector<Json::Value> values{Json::Value(),
                                  Json::Value(true),
                                  Json::Value(-1),
                                  Json::Value(0.5),
                                  Json::Value(1e300),
                                  Json::Value(Json::UInt64{18446744073709551615U}),
                                  Json::Value(Json::Int64{-2147483649}),
                                  Json::Value(""),
                                  Json::Value(std::string("a\0b", 3)),
                                  Json::Value("\xff\xfe\xed\xa0\x80"),
                                  Json::Value(std::string(5000, 'x')),
                                  Json::Value(Json::arrayValue),
                                  Json::Value(Json::objectValue),
                                  std::move(deep)};
  Json::Value object;
  object["data"] = "text";
  values.push_back(object);
  return values;
}

class EveryList : public ListFixture, public testing::WithParamInterface<ListKind> {
 protected:
  [[nodiscard]] Task makeTask(MediaHost& own) { return makeTask(own, fetcher); }
  [[nodiscard]] static Task makeTask(MediaHost& own, KBL::MediaFetcher& by) {
    Task task = GetParam().make(true, by);
    task->setHostContext(&own);
    return task;
  }

  /// The kind's page, which leads to itself.
  [[nodiscard]] std::string linkedPage() const {
    std::string link = GetParam().link;
    if (const auto mark = link.find("URL"); mark != std::string::npos) link.replace(mark, 3, fetcher.url());
    Json::Value page = parsed(GetParam().page);
    merge(page, parsed(link));
    return printed(page);
  }

  /// A list that has ended holds at most one record that says so, as its last.
  static void expectEnded(const MediaHost& own, const std::string& page) {
    std::vector<int> more;
    for (const Album& album : own.albums()) more.push_back(album.more);
    for (const Media& media : own.media()) more.push_back(media.more);
    EXPECT_LE(std::count(more.begin(), more.end(), 0), 1) << page;
    EXPECT_TRUE(own.errors().size() + more.size() >= 1) << page;
    EXPECT_LE(own.errors().size(), 1U) << page;
    if (!own.media().empty()) {
      EXPECT_EQ(own.media().back(), closing) << page;
    }
    if (own.errors().empty()) {
      EXPECT_EQ(more.back(), 0) << page;
    }
  }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Of, EveryList, testing::ValuesIn(kinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(EveryList, OfItsOwnPageHasTwoItemsAndAnEnd) {
  answer({GetParam().page});
  makeTask(host)->Run();
  EXPECT_EQ(host.calls(), 3U);
  EXPECT_THAT(host.errors(), IsEmpty());
  expectEnded(host, GetParam().page);
}

TEST_P(EveryList, WithoutCallbacksIsWalkedInSilence) {
  answer({linkedPage(), GetParam().page});
  GetParam().make(false, fetcher)->Run();
  EXPECT_THAT(fetcher.targets(), SizeIs(2));
}

TEST_P(EveryList, StopsTheWalkOfOnePageWhenTheHostSaysSo) {
  answer({linkedPage(), GetParam().page});
  host.itemResult = [](std::size_t count) { return count == 1 ? 0 : 1; };
  makeTask(host)->Run();
  EXPECT_THAT(fetcher.targets(), SizeIs(2));
  EXPECT_EQ(host.calls(), 4U);
}

TEST_P(EveryList, StoppedInAPageSendsNothingMore) {
  answer({linkedPage(), GetParam().page});
  const Task task = makeTask(host);
  host.itemResult = [&](std::size_t) {
    task->Stop();
    return 1;
  };
  task->Start(nullptr);
  ASSERT_TRUE(host.waitForCalls(1));
  task->Stop();
  EXPECT_EQ(host.calls(), 1U);
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
  EXPECT_EQ(fetcher.fetches(), 1 + GetParam().fetchesBehindAStop);
}

TEST_P(EveryList, ReportsAPageThatIsNoJson) {
  for (const std::string& body :
       {std::string(), std::string("<html>"), std::string("[1,"), std::string(100000, '[')}) {
    MediaHost own;
    answer({body});
    makeTask(own)->Run();
    EXPECT_THAT(own.errors(), ElementsAre(Error{11, "can't read json."})) << body.substr(0, 10);
    EXPECT_EQ(own.calls(), GetParam().closesAfterAnError ? 2U : 1U);
    expectEnded(own, body.substr(0, 10));
  }
}

TEST_P(EveryList, ReportsAFailedFetchWithLibcurlsText) {
  const std::string page = GetParam().page;
  fetcher.answerInOrder({ScriptedReply{.body = page + "      ", .breakAfter = page.size()}});
  makeTask(host)->Run();
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Transferred a partial file"}));
  EXPECT_EQ(host.calls(), GetParam().closesAfterAnError ? 2U : 1U);
  expectEnded(host, page);
}

TEST_P(EveryList, EndsWhateverStandsInPlaceOfAnyPartOfAPage) {
  const std::vector<Json::Value> values = oddValues();
  std::size_t parts = 0;
  Json::Value page = parsed(GetParam().page);
  eachPart(page, [&](Json::Value&) { ++parts; });
  for (std::size_t place = 0; place < parts; ++place) {
    for (const Json::Value& value : values) {
      Json::Value odd = page;
      std::size_t visited = 0;
      Json::Value* replaced = nullptr;
      eachPart(odd, [&](Json::Value& part) {
        if (visited++ == place) replaced = &part;
      });
      *replaced = value;
      const std::string text = printed(odd);
      MediaHost own;
      answer({text});
      makeTask(own)->Run();
      expectEnded(own, text.substr(0, 500));
    }
  }
}

TEST_P(EveryList, ThatLeadsToItselfGoesOnUntilTheHostStops) {
  fetcher.answerAlways(linkedPage());
  const Task task = makeTask(host);
  host.itemResult = [&](std::size_t count) {
    if (count == 101) task->Stop();
    return 1;
  };
  task->Start(nullptr);
  ASSERT_TRUE(host.waitForCalls(101));
  task->Stop();
  EXPECT_EQ(host.calls(), 101U);
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(host.closings(), 0U);
}

TEST_P(EveryList, TakesAHostThatThrowsForOneThatWantsNoMoreOfThePage) {
  const ScopedRecordingLogger log;
  answer({linkedPage(), GetParam().page});
  host.itemResult = [](std::size_t count) -> std::int32_t {
    if (count == 1) throw std::runtime_error("a host's own trouble");
    return 1;
  };
  makeTask(host)->Run();
  EXPECT_THAT(fetcher.targets(), SizeIs(2));
  EXPECT_EQ(host.calls(), 4U);
  EXPECT_THAT(host.errors(), IsEmpty());
  ASSERT_THAT(log->linesWith("a host's own trouble"), SizeIs(1));
  EXPECT_EQ(log->linesWith("a host's own trouble").front().severity, 2);
}

TEST_P(EveryList, RefusesAPageBeyond16MebibytesWithError10) {
  fetcher.answerAlways(GetParam().page + std::string(std::size_t{16} << 20, ' '));
  makeTask(host)->Run();
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Failed writing received data to disk/application"}));
}

TEST_P(EveryList, TakesAPageOfExactly16Mebibytes) {
  std::string page = GetParam().page;
  page.resize(std::size_t{16} << 20, ' ');
  fetcher.answerAlways(page);
  makeTask(host)->Run();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(host.calls(), 3U);
}

TEST_P(EveryList, RefusesAPageWhoseValuesWouldCostTooMuch) {
  const std::string page = GetParam().page;
  // Two megabytes of text, more than 64 of values.
  std::string values = "[";
  for (int count = 0; count < 1'000'000; ++count) values += "0,";
  answer({page.substr(0, page.size() - 1) + R"(,"more":)" + values + "0]}"});
  makeTask(host)->Run();
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't read json."}));
}

TEST_P(EveryList, GivesAPageTenMinutes) {
  const ScopedManualTime time;
  const Task task = makeTask(host);
  for (int beat = 0; beat <= 30; ++beat) {
    ASSERT_EQ(task->OnProgress(0, beat, 0, 0), 0) << beat;
    time->advance(20'000);
  }
  EXPECT_EQ(task->OnProgress(0, 31, 0, 0), 1);
}

TEST_P(EveryList, ReadsTheCodeOfAFailureSoThatNoneLooksLikeASuccess) {
  for (const auto& [code, told] :
       {std::pair("4294967296", 2147483647), std::pair("-1e300", -2147483647 - 1)}) {
    MediaHost own;
    std::string failure = GetParam().failure;
    failure.replace(failure.find("CODE"), 4, code);
    answer({failure});
    makeTask(own)->Run();
    EXPECT_THAT(own.errors(), ElementsAre(Error{told, "m"})) << failure;
  }
}

TEST_P(EveryList, SentRoundInCirclesEndsWithError10) {
  const ScopedManualTime time;
  PageServer server;
  const ScopedMediaHosts served(server);
  server.answer([](const std::string& target) {
    return PageReply{.body = "elsewhere", .status = 302, .headers = {{"Location", target}}};
  });
  const Task task = makeTask(host, KBL::curlMediaFetcher());
  task->Start(nullptr);
  ASSERT_TRUE(time->advanceUntil([&] { return !host.errors().empty(); }, 31'000));
  task->Stop();
  EXPECT_THAT(host.errors(), ElementsAre(testing::Field(&Error::code, 10)));
}

TEST_P(EveryList, RunsBesideOthersOnItsOwn) {
  constexpr std::size_t count = 6;
  fetcher.answerAlways(GetParam().page);
  std::vector<MediaHost> own(count);
  std::vector<Task> tasks;
  for (MediaHost& each : own) tasks.push_back(makeTask(each));
  for (const Task& task : tasks) task->Start(nullptr);
  for (const MediaHost& each : own) {
    ASSERT_TRUE(each.waitForCalls(3));
    EXPECT_THAT(each.threads(), SizeIs(1));
  }
  for (const Task& task : tasks) task->Stop();
  for (const MediaHost& each : own) {
    EXPECT_EQ(each.calls(), 3U);
    EXPECT_EQ(each.media(), own.front().media());
    EXPECT_EQ(each.albums(), own.front().albums());
  }
}

#pragma once

#include "sandbox/base/Account.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace sandbox {

enum class Consent {
  automatic,  ///< a login is allowed by itself, for the chosen user
  ask,        ///< somebody decides: on the page, or by Sandbox::allow and Sandbox::deny
  deny,       ///< a login is denied by itself
  never       ///< nobody answers: the page of the login has no buttons
};

/// Which certificate a TLS sandbox shows. Only `valid` passes a client that verifies with the sandbox's
/// authority.
enum class Certificate { valid, expired, wrongHost, unknownAuthority };

struct SandboxOptions {
  int port = 0;          ///< 0 takes a free one
  std::string stateDir;  ///< users, tokens and finished uploads live here between processes; empty: nowhere

  Consent consent = Consent::automatic;
  unsigned pollsBeforeConsent = 0;               ///< automatic: so many polls are answered "pending" first
  std::string appSecret = "sandbox-app-secret";  ///< empty accepts any secret
  std::string appId = "sandbox-app-id";          ///< of scripted platforms; empty accepts any
  /// Where logins of scripted platforms may end; empty accepts any web address. Nothing has to listen there.
  std::string appRedirect = "http://localhost/mediatransfer/signed-in";
  /// The account server's numbers for the platforms.
  std::map<int, Platform> platformNumbers = {
      {0, Platform::youtube}, {1, Platform::vimeo}, {2, Platform::tiktok}, {3, Platform::douyin}};

  std::chrono::seconds accountTokenLifetime{7200};
  std::chrono::seconds tokenLifetime{3600};  ///< of platform access tokens
  /// Of the tokens that sign users in at the media services, from the start; 0: they don't end by themselves.
  std::chrono::seconds mediaTokenLifetime{0};
  std::size_t tokenLength = 0;      ///< platform access tokens are filled up to this many characters
  bool rotateRefreshTokens = true;  ///< a refresh token is good once

  std::string locationHeader =
      "Location";              ///< header name of a resumable session's address; HTTP/2 has "location"
  bool strictMetadata = true;  ///< refuse titles and privacy values that YouTube refuses
  bool hashUploads = true;     ///< off: benchmarks that measure the client alone

  std::uint64_t facebookChunk = std::uint64_t{4} << 20;  ///< bytes that Facebook asks for at a time
  unsigned ticketQuestions = 1;  ///< Flickr: questions that are answered "not yet" before the photo is there
  unsigned containerQuestions = 1;     ///< Instagram: the same, before an uploaded container can be published
  bool twitchUploadWithdrawn = false;  ///< Twitch answers uploads 410, as it has done since it gave them up

  std::size_t mediaPhotos = 137;  ///< of the first user, at Flickr and in the first Facebook album

  bool tls = false;  ///< https with a certificate made at start; see Sandbox::caFile
  Certificate certificate = Certificate::valid;

  int receiveBuffer =
      0;  ///< bytes the system takes in ahead of us on each connection; 0 leaves it to the system

  /// A page for people at Sandbox::baseUrl, which shows what happens; costs what it keeps of each exchange.
  bool page = false;
  /// With the page, bytes of the latest videos that are kept for its player, in memory.
  std::size_t keptVideoBytes = std::size_t{256} * 1024 * 1024;

  std::size_t recordedBodyLimit = std::size_t{64} * 1024;
  /// Bytes of all recorded bodies together; beyond it the oldest requests go.
  std::size_t recordedTotalLimit = std::size_t{256} * 1024 * 1024;
};

}  // namespace sandbox

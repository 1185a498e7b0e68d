#include "host/LoginOrigin.h"

#include "options/Failure.h"
#include "system/Files.h"
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>

#include <sstream>
#include <utility>

namespace host {

void requireSameServer(const std::string& origin, const std::string& server, const std::string& signIn) {
  if (origin.empty() || server.empty() || origin == server) return;
  throw Failure(Cause::login, "the stored login is from " + origin + " and is not given to another server, " +
                                  server + "; sign in there with: " + signIn +
                                  " (or keep it apart with --cache-dir)");
}

LoginOrigin::LoginOrigin(std::string path, std::string server)
    : path_(std::move(path)), server_(std::move(server)) {}

void LoginOrigin::require(const std::string& signIn) const {
  const std::set<std::string> servers = read();
  if (server_.empty() || servers == std::set{server_}) return;
  if (servers.empty()) return write({server_});
  if (servers.size() == 1) return requireSameServer(*servers.begin(), server_, signIn);
  throw Failure(Cause::login,
                "a login did not come to its end, and which server the stored one is from is not "
                "known; sign in again with: " +
                    signIn);
}

void LoginOrigin::begin() {
  former_ = read();
  if (server_.empty()) return;
  std::set<std::string> servers = former_;
  servers.insert(server_);
  if (servers != former_) write(servers);
}

void LoginOrigin::keep() const {
  if (!server_.empty()) write({server_});
}

void LoginOrigin::putBack() const {
  if (read() == former_) return;
  former_.empty() ? forget() : write(former_);
}

void LoginOrigin::forget() const {
  KBL::FileUtil::remove(KBL::Path(path_));
}

std::string LoginOrigin::kept() const {
  const std::set<std::string> servers = read();
  return servers.size() == 1 ? *servers.begin() : std::string();
}

std::set<std::string> LoginOrigin::read() const {
  std::istringstream lines(contentsOf(path_));
  std::set<std::string> servers;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) servers.insert(line);
  }
  return servers;
}

void LoginOrigin::write(const std::set<std::string>& servers) const {
  std::string text;
  for (const std::string& server : servers) text += server + "\n";
  if (KBL::FileUtil::writePrivateFile(KBL::Path(path_), text)) return;
  throw Failure(Cause::file, "the file '" + path_ +
                                 "' cannot be written; check the folder's rights and the "
                                 "room on its disk");
}

}  // namespace host

#pragma once

#include <BsNet/IBodySource.h>
#include <KblUtils/FileStream.h>

#include <concepts>
#include <cstdint>
#include <string_view>
#include <vector>

namespace KBL {

/// The pieces of an upload's file, one after the other, as bodies of a client. A client that can reads a
/// piece from the file while it sends it, so that no byte is copied on the way; for every other one a piece
/// is read ahead. One thread.
class FilePieces final : IBodySource {
 public:
  /// File and client outlive the pieces.
  FilePieces(FileStream& file, INetworkClient& client);
  /// Takes the body from the client.
  ~FilePieces();
  FilePieces(const FilePieces&) = delete;
  FilePieces& operator=(const FilePieces&) = delete;

  /// Goes on to the piece that begins at `offset`, where the one before ended; how many bytes it has: at most
  /// `size`, fewer where the file ends, 0 where nothing can be read: the piece before then stays.
  [[nodiscard]] std::uint64_t moveTo(std::uint64_t offset, std::uint64_t size);
  /// Gives the piece to the client for one try.
  void give();
  /// Whether the client could not read the piece to its end.
  [[nodiscard]] bool isCut() const { return isCut_; }

 private:
  /// Bytes of the piece that would begin here; read ahead where the client needs that.
  [[nodiscard]] std::uint64_t available(std::uint64_t offset, std::uint64_t size);
  bool readBody(unsigned long long offset, char* buffer, unsigned long long count) override;

  FileStream& file_;
  INetworkClient& client_;
  IBodySourceClient* const reader_;  // null: the client takes bodies from memory alone
  std::vector<char> buffer_;
  std::uint64_t begin_ = 0;
  std::uint64_t size_ = 0;
  std::uint64_t place_ = 0;  // of the file, where it was read last
  bool isCut_ = false;
};

/// The body of the tries of one chunk: a piece of a file, or bytes in memory, which outlive it.
class ChunkBody {
 public:
  template <class Text>
  requires std::convertible_to<const Text&, std::string_view> ChunkBody(const Text& bytes)
      : bytes_(bytes), size_(bytes_.size()) {}
  ChunkBody(FilePieces& pieces, std::uint64_t size) : pieces_(&pieces), size_(size) {}

  [[nodiscard]] std::uint64_t size() const { return size_; }
  void giveTo(INetworkClient& client) const;
  /// Whether a try has ended because the bytes could not be read.
  [[nodiscard]] bool isCut() const { return pieces_ != nullptr && pieces_->isCut(); }

 private:
  FilePieces* pieces_ = nullptr;
  std::string_view bytes_;
  std::uint64_t size_;
};

}  // namespace KBL

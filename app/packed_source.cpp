// One unpacker for each format, all of the same shape, behind one reading function.
#include "app/packed_source.h"

#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace tarku {

namespace {

// Packed bytes to take and room for unpacked ones; both shrink from the front.
struct Work {
  char* in;
  std::size_t in_size;
  char* out;
  std::size_t out_size;
};

enum class Outcome { goes_on, ended, damaged };

// Unpacks one packed piece; files may hold several, one after the other.
class Unpacker {
 public:
  Unpacker() = default;
  virtual ~Unpacker() = default;
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;
  virtual Outcome step(Work* work) = 0;
};

// The three libraries share the layout of their streams, and differ in types and names.
template <typename Stream, typename Byte, typename Size, typename Step>
auto step_stream(Stream* stream, Work* work, Step step) {
  stream->next_in = reinterpret_cast<Byte*>(work->in);
  stream->next_out = reinterpret_cast<Byte*>(work->out);
  const Size in_size = stream->avail_in = static_cast<Size>(work->in_size);
  const Size out_size = stream->avail_out = static_cast<Size>(work->out_size);
  const auto result = step(stream);
  const std::size_t taken = in_size - stream->avail_in, given = out_size - stream->avail_out;
  work->in += taken, work->in_size -= taken;
  work->out += given, work->out_size -= given;
  return result;
}

class GzipUnpacker : public Unpacker {
 public:
  static constexpr std::string_view mark{"\x1f\x8b", 2};

  GzipUnpacker() {
    constexpr int only_gzip = 16;
    if (inflateInit2(&stream_, MAX_WBITS + only_gzip) != Z_OK) throw std::bad_alloc();
  }
  ~GzipUnpacker() override { inflateEnd(&stream_); }

  Outcome step(Work* work) override {
    const int result =
        step_stream<z_stream, Bytef, uInt>(&stream_, work, [](z_stream* s) { return inflate(s, Z_NO_FLUSH); });
    if (result == Z_STREAM_END) return Outcome::ended;
    return result == Z_OK || result == Z_BUF_ERROR ? Outcome::goes_on : Outcome::damaged;
  }

 private:
  z_stream stream_{};
};

class Bzip2Unpacker : public Unpacker {
 public:
  static constexpr std::string_view mark{"BZh"};

  Bzip2Unpacker() {
    if (BZ2_bzDecompressInit(&stream_, 0, 0) != BZ_OK) throw std::bad_alloc();
  }
  ~Bzip2Unpacker() override { BZ2_bzDecompressEnd(&stream_); }

  Outcome step(Work* work) override {
    const int result = step_stream<bz_stream, char, unsigned>(&stream_, work, BZ2_bzDecompress);
    if (result == BZ_STREAM_END) return Outcome::ended;
    return result == BZ_OK ? Outcome::goes_on : Outcome::damaged;
  }

 private:
  bz_stream stream_{};
};

class XzUnpacker : public Unpacker {
 public:
  static constexpr std::string_view mark{"\xfd\x37zXZ\0", 6};

  XzUnpacker() {
    if (lzma_stream_decoder(&stream_, UINT64_MAX, 0) != LZMA_OK) throw std::bad_alloc();
  }
  ~XzUnpacker() override { lzma_end(&stream_); }

  Outcome step(Work* work) override {
    const lzma_ret result = step_stream<lzma_stream, std::uint8_t, std::size_t>(
        &stream_, work, [](lzma_stream* s) { return lzma_code(s, LZMA_RUN); });
    if (result == LZMA_STREAM_END) return Outcome::ended;
    return result == LZMA_OK || result == LZMA_BUF_ERROR ? Outcome::goes_on : Outcome::damaged;
  }

 private:
  lzma_stream stream_ = LZMA_STREAM_INIT;
};

using Make = std::unique_ptr<Unpacker> (*)();

struct Format {
  std::string_view mark;
  Make make;
};

template <typename T>
constexpr Format format() {
  return {T::mark, [] { return std::unique_ptr<Unpacker>(std::make_unique<T>()); }};
}

constexpr Format formats[] = {format<GzipUnpacker>(), format<Bzip2Unpacker>(), format<XzUnpacker>()};

// A source over a source. The format is known once the first bytes are there.
class PackedSource {
 public:
  PackedSource(ReadBytes source, std::string name)
      : source_(std::move(source)), name_(std::move(name)), buffer_(buffer_size) {}

  std::size_t read(char* to, std::size_t room) {
    if (!is_recognised_) recognise();
    return make_ != nullptr ? read_packed(to, room) : read_plain(to, room);
  }

 private:
  static constexpr std::size_t buffer_size = std::size_t{1} << 16;

  // Waits for more bytes only as long as those that are there begin a mark.
  void recognise() {
    is_recognised_ = true;
    while (make_ == nullptr && std::any_of(std::begin(formats), std::end(formats), [this](const Format& format) {
             return begins(format.mark.substr(0, end_ - begin_));
           })) {
      if (!fetch()) return;
      for (const Format& format : formats) {
        if (end_ - begin_ >= format.mark.size() && begins(format.mark)) make_ = format.make;
      }
    }
  }

  bool begins(std::string_view mark) const { return std::string_view(buffer_.data(), mark.size()) == mark; }

  // Adds what the source has behind what is there; false at its end.
  bool fetch() {
    if (begin_ == end_) begin_ = end_ = 0;
    const std::size_t count = source_(buffer_.data() + end_, buffer_.size() - end_);
    end_ += count;
    return count != 0;
  }

  std::size_t read_plain(char* to, std::size_t room) {
    if (begin_ == end_) return source_(to, room);
    const std::size_t count = std::min(room, end_ - begin_);
    std::memcpy(to, buffer_.data() + begin_, count);
    begin_ += count;
    return count;
  }

  std::size_t read_packed(char* to, std::size_t room) {
    while (room != 0) {
      if (unpacker_ == nullptr && !begin_piece()) return 0;
      Work work{buffer_.data() + begin_, end_ - begin_, to, room};
      const Outcome outcome = unpacker_->step(&work);
      begin_ = end_ - work.in_size;
      if (outcome == Outcome::damaged)
        throw std::runtime_error("cannot read '" + name_ + "': the packed data is damaged");
      if (outcome == Outcome::ended) unpacker_.reset();
      if (work.out_size != room) return room - work.out_size;
      if (outcome == Outcome::goes_on && begin_ == end_ && !fetch()) {
        throw std::runtime_error("cannot read '" + name_ + "': the packed data is cut off");
      }
    }
    return 0;
  }

  // Zeros between and behind the pieces fill blocks up and mean nothing. False when there is no further piece.
  bool begin_piece() {
    for (;;) {
      while (begin_ != end_ && buffer_[begin_] == '\0') ++begin_;
      if (begin_ != end_) break;
      if (!fetch()) return false;
    }
    unpacker_ = make_();
    return true;
  }

  ReadBytes source_;
  std::string name_;
  std::vector<char> buffer_;  // what was fetched and not used yet is [begin_, end_)
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool is_recognised_ = false;
  Make make_ = nullptr;                 // of the format; null for plain text
  std::unique_ptr<Unpacker> unpacker_;  // of the piece that is being read
};

}  // namespace

ReadBytes unpacked(ReadBytes read, std::string name) {
  // std::function wants copyable contents.
  const auto packed = std::make_shared<PackedSource>(std::move(read), std::move(name));
  return [packed](char* to, std::size_t room) { return packed->read(to, room); };
}

}  // namespace tarku

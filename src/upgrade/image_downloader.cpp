#include "orvamesh/upgrade/image_downloader.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <condition_variable>
#include <memory>
#include <mutex>

#include "orvamesh/base/log.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "orvamesh/utils/deadline.h"
#include "orvamesh/utils/utils.h"
#include "upgrade/http_get.h"

namespace ORVA::MESH::SDK::Upgrade {
namespace {

using Digest = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int Get() const { return fd_; }

 private:
  int fd_;
};

Digest NewDigest() {
  Digest digest(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  if (!digest || EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) != 1) {
    ORVA_THROW_IN(DownloadException, "Download", "cannot start a SHA-256 digest");
  }
  return digest;
}

std::string Finish(EVP_MD_CTX* digest) {
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(digest, bytes, &length);
  static const char* hex = "0123456789abcdef";
  std::string out;
  for (unsigned i = 0; i < length; ++i) {
    out += hex[bytes[i] >> 4];
    out += hex[bytes[i] & 15];
  }
  return out;
}

// Feeds what is already on disk into the digest, so that a resumed download hashes the whole
// image without a second pass at the end.
void HashExisting(int fd, uint64_t size, EVP_MD_CTX* digest) {
  std::string buffer(1 << 16, '\0');
  uint64_t done = 0;
  while (done < size) {
    const ssize_t n = ::pread(fd, buffer.data(), std::min<uint64_t>(buffer.size(), size - done), static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    ORVA_THROW_ERRNO_IF(n <= 0, DownloadException, "cannot read the partial image");
    EVP_DigestUpdate(digest, buffer.data(), static_cast<size_t>(n));
    done += static_cast<uint64_t>(n);
  }
}

void WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    ORVA_THROW_ERRNO_IF(n < 0, DownloadException, "cannot write the image");
    data += n;
    size -= static_cast<size_t>(n);
  }
}

uint64_t FileSize(int fd) {
  struct stat st {};
  ORVA_THROW_ERRNO_IF(::fstat(fd, &st) != 0, DownloadException, "cannot stat the partial image");
  return static_cast<uint64_t>(st.st_size);
}

void SyncDirectory(const std::string& directory) {
  Fd dir(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.Get() >= 0) ::fsync(dir.Get());
}

// Writes the image in blocks of 256 KiB rather than in the TLS records it arrives in (a
// sixteenth of the system calls), starts their writeback as they go (the image must be on the
// disk before it is renamed into place, and this leaves the final fsync little to wait for),
// and hashes each written block on a thread of its own, so that on a router with a second core
// the SHA-256 of a firmware image costs no download time. The blocks go round a ring of four,
// in order: a hasher that falls behind holds the receiver back instead of letting memory grow.
class ImageWriter {
 public:
  // `offset`: where the file ends, which is where the first block goes.
  ImageWriter(int fd, uint64_t offset, EVP_MD_CTX* digest)
      : fd_(fd), digest_(digest), written_(offset), synced_(offset) {
    for (auto& block : ring_) block.reserve(kBlock);
    errno = Utils::CreatePThread(&thread_, &Entry, this, false, 0);
    ORVA_THROW_ERRNO_IF(errno != 0, DownloadException, "cannot start the digest thread");
  }
  ~ImageWriter() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      state_ = State::kStopping;
    }
    changed_.notify_all();
    ::pthread_join(thread_, nullptr);
  }
  ImageWriter(const ImageWriter&) = delete;
  ImageWriter& operator=(const ImageWriter&) = delete;

  void Add(const char* data, size_t size) {
    while (size > 0) {
      std::string& block = ring_[filling_];
      const size_t n = std::min(size, kBlock - block.size());
      block.append(data, n);
      data += n;
      size -= n;
      if (block.size() == kBlock) HandOver();
    }
  }

  // Writes what is still held, so that the file has every byte added so far.
  void Flush() {
    if (!ring_[filling_].empty()) HandOver();
  }

  // Returns once every byte added so far is in the file and in the digest.
  void Wait() {
    Flush();
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return queued_ == 0; });
  }

 private:
  static constexpr size_t kBlock = 256 * 1024;
  static constexpr size_t kRing = 4;
  static constexpr uint64_t kWritebackStep = 1 << 20;
  enum class State { kRunning, kStopping };

  // Passes the block being filled to the hasher and moves to the next one, once the hasher
  // is done with it.
  void HandOver() {
    WriteAll(fd_, ring_[filling_].data(), ring_[filling_].size());
    written_ += ring_[filling_].size();
    if (written_ - synced_ >= kWritebackStep) {
      ::sync_file_range(fd_, static_cast<off_t>(synced_), static_cast<off_t>(written_ - synced_),
                        SYNC_FILE_RANGE_WRITE);
      synced_ = written_;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    ++queued_;
    changed_.notify_all();
    filling_ = (filling_ + 1) % kRing;
    changed_.wait(lock, [this] { return queued_ < kRing; });
  }

  static void* Entry(void* self) {
    static_cast<ImageWriter*>(self)->Run();
    return nullptr;
  }

  void Run() {
    size_t hashing = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return queued_ > 0 || state_ == State::kStopping; });
      if (queued_ == 0) return;
      lock.unlock();
      std::string& block = ring_[hashing];
      EVP_DigestUpdate(digest_, block.data(), block.size());
      block.clear();
      hashing = (hashing + 1) % kRing;
      lock.lock();
      --queued_;
      changed_.notify_all();
    }
  }

  int fd_;
  EVP_MD_CTX* digest_;
  uint64_t written_;  // the file's end, written from the receiving thread only
  uint64_t synced_;   // where the writeback started last
  std::string ring_[kRing];
  size_t filling_ = 0;  // only the receiving thread touches it
  std::mutex mutex_;
  std::condition_variable changed_;
  size_t queued_ = 0;  // blocks handed over and not yet hashed
  State state_ = State::kRunning;
  pthread_t thread_{};
};

// One attempt: asks for the bytes after what the file holds and appends them, never past the
// size the feed announced.
struct Attempt {
  const FeedEntry& entry;
  ImageWriter& writer;
  uint64_t have;
  const DownloadOptions& options;
  bool overrun = false;
  std::string failure;

  bool Sink(const char* data, size_t size) {
    if (have + size > entry.size) {
      overrun = true;
      size = static_cast<size_t>(entry.size - have);
    }
    writer.Add(data, size);
    have += size;
    if (options.progress) options.progress(have, entry.size);
    return !overrun;
  }

  void Run(const Deadline& deadline) {
    const HttpGetResult result = HttpGet(entry.imageUrl, {options.caFile, std::max(deadline.PollTimeoutMs(), 1), have},
                                         [this](const char* d, size_t n) { return Sink(d, n); });
    if (overrun) return;
    if (result.status != 200 && result.status != 206 && result.error.empty()) {
      failure = "HTTP status " + std::to_string(result.status);
    } else if (!result.error.empty()) {
      failure = result.error;
    }
  }
};

}  // namespace

ImageDownloader::ImageDownloader(DownloadOptions options) : options_(std::move(options)) {}

std::string ImageDownloader::FileSha256(const std::string& path) {
  Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ORVA_THROW_ERRNO_IF(fd.Get() < 0, DownloadException, "cannot open " + path);
  Digest digest = NewDigest();
  HashExisting(fd.Get(), FileSize(fd.Get()), digest.get());
  return Finish(digest.get());
}

std::string ImageDownloader::Download(const FeedEntry& entry) const {
  const std::string final = options_.directory + "/" + entry.sha256 + ".img";
  const std::string partial = options_.directory + "/" + entry.sha256 + ".part";
  if (::access(final.c_str(), F_OK) == 0 && FileSha256(final) == entry.sha256) return final;

  Fd fd(::open(partial.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  ORVA_THROW_ERRNO_IF(fd.Get() < 0, DownloadException, "cannot create " + partial);
  uint64_t have = FileSize(fd.Get());
  if (have > entry.size) {
    ORVA_THROW_ERRNO_IF(::ftruncate(fd.Get(), 0) != 0, DownloadException, "cannot truncate " + partial);
    have = 0;
  }
  struct statvfs space {};
  if (::fstatvfs(fd.Get(), &space) == 0 &&
      static_cast<uint64_t>(space.f_bavail) * space.f_frsize < entry.size - have) {
    ::unlink(partial.c_str());
    ORVA_THROW(DownloadException, "not enough free space in " + options_.directory + " for " +
                                      std::to_string(entry.size) + " bytes");
  }
  ::lseek(fd.Get(), static_cast<off_t>(have), SEEK_SET);
  Digest digest = NewDigest();
  HashExisting(fd.Get(), have, digest.get());

  const Deadline deadline(options_.deadline);
  ImageWriter writer(fd.Get(), have, digest.get());
  Attempt attempt{entry, writer, have, options_, false, {}};
  for (unsigned i = 0; i <= options_.attempts && attempt.have < entry.size && !attempt.overrun; ++i) {
    if (deadline.Expired()) break;
    attempt.failure.clear();
    attempt.Run(deadline);
    writer.Flush();  // the next attempt asks for the bytes after what the file holds
    if (!attempt.failure.empty()) ORVA_LOG_INFO("image download interrupted at %llu of %llu bytes: %s",
                                                static_cast<unsigned long long>(attempt.have),
                                                static_cast<unsigned long long>(entry.size), attempt.failure.c_str());
  }
  if (attempt.overrun) {
    ::unlink(partial.c_str());
    ORVA_THROW(DownloadException, "the server sent more than the " + std::to_string(entry.size) + " bytes announced");
  }
  if (attempt.have < entry.size) {
    ORVA_THROW(DownloadException, "the image stopped at " + std::to_string(attempt.have) + " of " +
                                      std::to_string(entry.size) + " bytes: " + attempt.failure);
  }
  writer.Wait();
  if (Finish(digest.get()) != entry.sha256) {
    ::unlink(partial.c_str());
    ORVA_THROW(DownloadException, "the image does not match the SHA-256 of the feed");
  }
  ORVA_THROW_ERRNO_IF(::fsync(fd.Get()) != 0, DownloadException, "cannot sync " + partial);
  ORVA_THROW_ERRNO_IF(::rename(partial.c_str(), final.c_str()) != 0, DownloadException, "cannot rename " + partial);
  SyncDirectory(options_.directory);
  return final;
}

}  // namespace ORVA::MESH::SDK::Upgrade

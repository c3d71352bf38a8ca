#pragma once
// Downloads a feed entry's image into a directory, resuming after interruptions, and renames it
// into place only once its size and SHA-256 match the feed. A download that fails leaves at
// most "<sha256>.part", never a file that looks complete.
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/upgrade/update_feed.h"

namespace ORVA::MESH::SDK::Upgrade {

struct ORVA_EXPORT DownloadOptions {
  std::string directory;
  std::string caFile;  // empty: the system's CA bundle
  // For the whole download, all attempts together.
  std::chrono::milliseconds deadline{std::chrono::minutes(30)};
  // Attempts after an interrupted transfer, each resuming where the last stopped.
  unsigned attempts = 5;
  // Bytes on disk so far and the image's size, after every piece received.
  std::function<void(uint64_t done, uint64_t total)> progress;
};

class ORVA_EXPORT ImageDownloader {
 public:
  explicit ImageDownloader(DownloadOptions options);

  // Returns the path of the verified image ("<directory>/<sha256>.img"); an image already
  // there and intact is not fetched again. Throws DownloadException.
  std::string Download(const FeedEntry& entry) const;

  // The SHA-256 of a file as 64 lower-case hex digits; throws DownloadException when it
  // cannot be read.
  static std::string FileSha256(const std::string& path);

 private:
  DownloadOptions options_;
};

}  // namespace ORVA::MESH::SDK::Upgrade

#pragma once
// One file sent with a web API call: the form field it travels in and the local file's path.
#include <string>
#include <utility>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT UploadDesc {
 public:
  UploadDesc(std::string fieldName, std::string filePath)
      : fieldName_(std::move(fieldName)), filePath_(std::move(filePath)) {}

  const std::string& GetFieldName() const { return fieldName_; }
  const std::string& GetFilePath() const { return filePath_; }

 private:
  std::string fieldName_;
  std::string filePath_;
};

}  // namespace ORVA::MESH::SDK

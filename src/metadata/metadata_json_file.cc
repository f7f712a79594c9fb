// Helpers over finished JSON answers: a dump of a value to the fixed scratch
// file, and the position of an item in an item array by its "id".
#include <exception>
#include <fstream>

#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

const char kJsonOutputPath[] = "/volume1/@tmp/output";

}  // namespace

int VideoMetadataAPI::WriteJsonToFile(Json::Value value) {
  try {
    std::ofstream out(kJsonOutputPath, std::ios::out | std::ios::trunc);
    if (!out.is_open()) return 0;
    Json::StyledStreamWriter writer("\t");
    writer.write(out, value);
  } catch (const std::exception&) {
    // The dump is a debugging aid; its failure is not the caller's concern.
  }
  return 0;
}

bool VideoMetadataAPI::VerifyExistInJsonArray(std::string id, Json::Value array,
                                              unsigned int& index) {
  if (id.empty() || !array.isArray()) return false;
  for (Json::ArrayIndex i = 0; i < array.size(); ++i) {
    if (JsonHasMember(array[i], "id") && JsonText(array[i]["id"]) == id) {
      index = i;
      return true;
    }
  }
  return false;
}

}  // namespace LibKinolot

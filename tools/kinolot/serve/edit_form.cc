// The body of an edit request; see edit_form.h.
#include "edit_form.h"

#include <cstdlib>
#include <ctime>
#include <memory>

#include "api_request.h"

namespace kinolot_serve {

namespace {

std::string Checked(const char* key, const std::string& text) {
  if (text.find('\0') != std::string::npos)
    throw ApiError(400, std::string(key) + " holds a NUL byte");
  return text;
}

// A member's value as text: null is "", numbers their decimal form.
std::string TextOf(const char* key, const Json::Value& value) {
  if (value.isNull()) return "";
  if (value.isString()) return Checked(key, value.asString());
  if (value.isIntegral() && !value.isBool()) return std::to_string(value.asLargestInt());
  throw ApiError(400, std::string(key) + " must be a text");
}

std::string Compact(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

}  // namespace

bool IsReleaseDate(const std::string& text) {
  if (text.empty()) return true;
  auto digits = [&](size_t at, size_t count) {
    for (size_t i = at; i < at + count; ++i)
      if (i >= text.size() || text[i] < '0' || text[i] > '9') return false;
    return true;
  };
  if (!digits(0, 4)) return false;
  const int year = std::atoi(text.substr(0, 4).c_str());
  if (year < kFirstYear || year > kLastYear) return false;
  if (text.size() == 4) return true;
  if (text.size() != 10 || text[4] != '-' || text[7] != '-' || !digits(5, 2) || !digits(8, 2))
    return false;
  // A day that exists: mktime moves 2009-02-30 to March.
  std::tm day{};
  day.tm_year = year - 1900;
  day.tm_mon = std::atoi(text.substr(5, 2).c_str()) - 1;
  day.tm_mday = std::atoi(text.substr(8, 2).c_str());
  day.tm_hour = 12;
  const int month = day.tm_mon, date = day.tm_mday;
  return timegm(&day) != -1 && day.tm_mon == month && day.tm_mday == date && month >= 0;
}

const Json::Value& EditForm::Stored(const char* key) const {
  if (stored_.isMember(key)) return stored_[key];
  return stored_["additional"][key];
}

std::string EditForm::Text(const char* key, const char* storedKey) const {
  if (Names(key)) return TextOf(key, body_[key]);
  const Json::Value& stored = Stored(storedKey != nullptr ? storedKey : key);
  if (stored.isNumeric() && !stored.isBool()) return std::to_string(stored.asLargestInt());
  return stored.isString() ? stored.asString() : "";
}

const char* EditForm::Optional(const char* key, std::string& storage) const {
  if (!Names(key)) return nullptr;
  storage = TextOf(key, body_[key]);
  return storage.c_str();
}

const char* EditForm::Date(const char* key, std::string& storage) const {
  const char* date = Optional(key, storage);
  if (date != nullptr && !IsReleaseDate(storage))
    throw ApiError(400, std::string(key) + " must be a date YYYY-MM-DD or a year, from " +
                            std::to_string(kFirstYear) + " to " + std::to_string(kLastYear));
  return date;
}

std::string EditForm::List(const char* key) const {
  if (!Names(key)) {
    std::string joined;
    for (const Json::Value& name : Stored(key))
      joined += (joined.empty() ? "" : "|") + name.asString();
    return joined;
  }
  const Json::Value& value = body_[key];
  if (!value.isArray()) return TextOf(key, value);
  std::string joined;
  for (const Json::Value& name : value) {
    if (!name.isString() || name.asString().find('|') != std::string::npos)
      throw ApiError(400, std::string(key) + " must hold names without \"|\"");
    joined += (joined.empty() ? "" : "|") + Checked(key, name.asString());
  }
  return joined;
}

const char* EditForm::Extra(const char* key, std::string& storage) const {
  if (!Names(key)) {
    const Json::Value& stored = Stored(key);
    if (stored.isNull()) return nullptr;
    storage = stored.isObject() ? Compact(stored) : stored.asString();
    return storage.c_str();
  }
  const Json::Value& value = body_[key];
  storage = value.isObject() ? Compact(value) : TextOf(key, value);
  if (storage.empty()) storage = "{}";
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  if (!reader->parse(storage.data(), storage.data() + storage.size(), &parsed, nullptr) ||
      !parsed.isObject())
    throw ApiError(400, std::string(key) + " must be a JSON object");
  return storage.c_str();
}

std::string EditForm::Lock() const {
  if (!Names("metadata_locked")) return Stored("metadata_locked").asBool() ? "true" : "false";
  const Json::Value& value = body_["metadata_locked"];
  if (value.isBool()) return value.asBool() ? "true" : "false";
  std::string text = value.isString() ? value.asString() : "";
  if (text != "true" && text != "false")
    throw ApiError(400, "metadata_locked must be true or false");
  return text;
}

}  // namespace kinolot_serve

// The body of an edit request (POST /api/KIND/ID) read against the item as
// stored: a member the body names replaces the stored value, null or ""
// clears it, and a member it leaves out keeps what is stored.
//
// Members: title (an episode's is its show's), tagline, original_available
// (a date), record_time, channel_name, summary, season, episode (numbers or
// decimal texts), metadata_locked (true or false), actor, director, writer,
// genre (arrays of names or "|"-separated texts), extra (a JSON object or its
// text), and of an episode's show tvshow_summary, tvshow_extra and
// tvshow_original_available. Every reader throws ApiError(400) naming the
// member on a value of the wrong type or form.
#ifndef KINOLOT_TOOLS_SERVE_EDIT_FORM_H_
#define KINOLOT_TOOLS_SERVE_EDIT_FORM_H_

#include <json/json.h>

#include <string>

namespace kinolot_serve {

// The earliest and latest years a release date may have.
constexpr int kFirstYear = 1800;
constexpr int kLastYear = 2200;

// True for "" (no date), a year YYYY or a calendar date YYYY-MM-DD whose
// year lies within kFirstYear to kLastYear.
bool IsReleaseDate(const std::string& text);

class EditForm {
 public:
  // `body` is the request's JSON object; `stored` the item as GetInfo
  // answers it, with its additional pieces.
  EditForm(Json::Value body, Json::Value stored)
      : body_(std::move(body)), stored_(std::move(stored)) {}

  // The text of member `key`, else the stored `storedKey` (same name when
  // null) of the item or of its "additional" pieces.
  std::string Text(const char* key, const char* storedKey = nullptr) const;
  // Like Text, but a stored-only value the library keeps by itself when
  // given null: null when the body leaves `key` out.
  const char* Optional(const char* key, std::string& storage) const;
  // A release date: null when left out, "" to clear, else a checked date.
  const char* Date(const char* key, std::string& storage) const;
  // A list of names, "|"-separated.
  std::string List(const char* key) const;
  // A JSON object as text ("{}" for null or ""), else the stored one; null
  // when neither is there.
  const char* Extra(const char* key, std::string& storage) const;
  // "true" or "false".
  std::string Lock() const;

 private:
  bool Names(const char* key) const { return body_.isMember(key); }
  const Json::Value& Stored(const char* key) const;

  Json::Value body_;
  Json::Value stored_;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_EDIT_FORM_H_

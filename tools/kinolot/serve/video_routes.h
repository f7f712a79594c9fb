// The routes of the videos of one kind (KIND is movie, tvshow,
// tvshow_episode, home_video or tv_record), each a thin layer over one
// VideoMetadataAPI call whose JSON answer goes out unchanged:
//
//   GET  /api/KIND?offset&limit&sort&order&additional&tvshow&actor&director&writer&genre&year
//        List; the person and genre filters are row ids, tvshow the show of
//        an episode listing.
//   GET  /api/KIND/search?title&channel&actor&director&writer&genre&year&...
//        Search by name fragments (at least one is required).
//   GET  /api/KIND/browse/CATEGORY?offset&limit&order&keyword
//        CategoryBrowse; CATEGORY is actor, director, writer, genre or year.
//   GET  /api/KIND/ID?additional          GetInfo; 404 when there is no such item.
//   POST /api/KIND/ID                     Edit with a JSON form (see EditForm
//        in video_routes.cc); answers {"id": the item's id afterwards,
//        "merged": whether it was merged into another item}.
//   GET  /api/KIND/ID/poster              the poster image, with an ETag from its
//        stored MD5 digest (304 when If-None-Match names it); an episode
//        without a poster of its own shows its show's.
#ifndef KINOLOT_TOOLS_SERVE_VIDEO_ROUTES_H_
#define KINOLOT_TOOLS_SERVE_VIDEO_ROUTES_H_

#include "api_request.h"

namespace kinolot_serve {

void AddVideoRoutes(ApiRoutes& routes);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_VIDEO_ROUTES_H_

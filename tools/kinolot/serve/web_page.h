// The web page of `kinolot serve`: one HTML document with its styles and
// script, kept as tools/kinolot/serve/web/index.html and compiled into the program.
#ifndef KINOLOT_TOOLS_SERVE_WEB_PAGE_H_
#define KINOLOT_TOOLS_SERVE_WEB_PAGE_H_

namespace kinolot_serve {

// The page, NUL-terminated; static.
extern const char kWebPage[];

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_WEB_PAGE_H_

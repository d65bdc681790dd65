// The editor's HTTP interface: the page's files and the JSON API the page
// calls. Every answer is built here; the checks that come before any route
// (token, Host, Origin) are the server's (server.cpp).
//
//   GET  /                  the page (index.html, with the token in its links)
//   GET  /app.js, /style.css
//   GET  /api/state         photo, camera, starting settings, what is offered
//   POST /api/preview       {settings, box: {width, height}, picture} -> RGB bytes
//   POST /api/save-settings {path, overwrite, settings}
//   POST /api/correct       {path, overwrite, settings, quality}
//   GET  /api/job           the correction's state and progress
//   POST /api/job/cancel
//   POST /api/auto          {settings} -> {settings} from the lens profile
//   POST /api/fill          {settings} -> {scale} that leaves no empty border
#pragma once

#include <string>

namespace httplib {
class Server;
}

namespace ortavel::cli::ui {

class UiSession;

void addRoutes(httplib::Server &server, UiSession &session, const std::string &token);

}  // namespace ortavel::cli::ui

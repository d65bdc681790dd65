// `ortavel ui PHOTO`: decodes the photo once, asks the plug-in for its
// camera, serves the editor on 127.0.0.1 until Ctrl-C, and on the way out
// cancels a correction that is still running.
#include <chrono>
#include <cstdio>
#include <thread>

#include "commands.h"
#include "filter_session.h"
#include "image_io/image_io.h"
#include "interrupt.h"
#include "photo_settings.h"
#include "plugin_locator.h"
#include "progress_bar.h"
#include "ui/browser.h"
#include "ui/security.h"
#include "ui/server.h"
#include "ui/ui_session.h"

namespace ortavel::cli {

ExitCode runUi(const CommandLine &cl) {
  const std::filesystem::path photoPath = std::filesystem::absolute(cl.files[0]);
  ProgressBar quietBar(false);  // the page shows progress, not the terminal
  auto filter = std::make_unique<FilterSession>(locatePlugin(cl.plugin), quietBar);
  Image photo = readImage(photoPath);
  validateMargins(cl.settings.margins, photo.doc.width, photo.doc.height, photoPath.string());
  PhotoIdentity identity = identifyPhoto(*filter, photo, photoPath.string());

  ui::UiSession session(photoPath, std::move(photo), std::move(filter), std::move(identity),
                        cl.settings, cl.profile);
  ui::UiServer server(session, ui::makeToken());
  server.start(cl.port);
  const std::string url = server.url();
  std::printf("ortavel: editing %s\nortavel: open %s\nortavel: Ctrl-C stops the server\n",
              photoPath.c_str(), url.c_str());
  std::fflush(stdout);
  if (cl.openBrowser && ui::haveDisplay() && !ui::openInBrowser(url)) {
    reportError("cannot start xdg-open; open the address above in a browser");
  }

  while (!interrupted()) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  session.cancel();
  server.stop();
  session.waitForJob();
  if (!cl.quiet) std::fprintf(stderr, "ortavel: stopped\n");
  return ExitCode::kOk;
}

}  // namespace ortavel::cli

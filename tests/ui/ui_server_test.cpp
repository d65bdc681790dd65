// The editor's server over real HTTP on 127.0.0.1: who may ask (token, Host,
// Origin), what a bad request gets, that its previews are the plug-in's own,
// and that writes go only where asked, a correction can be cancelled and
// previews wait for it.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

#include "command_line.h"
#include "exit_codes.h"
#include "filter_session.h"
#include "image_io/image_io.h"
#include "lens_profiles/settings_fill.h"
#include "photo_settings.h"
#include "progress_bar.h"
#include "settings_file.h"
#include "ui/connection_gate.h"
#include "ui/security.h"
#include "ui/server.h"
#include "ui/settings_json.h"
#include "ui/ui_session.h"

namespace fs = std::filesystem;
using nlohmann::json;
using namespace ortavel::cli;
using namespace ortavel::cli::ui;

namespace {

const std::string kToken(64, 'a');

std::string slurp(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// A folder of its own holding a copy of the photo, so that relative paths
// and writes stay inside it.
class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / ("ortavel-ui-" + std::to_string(::getpid()))) {
    fs::remove_all(path_);
    fs::create_directories(path_);
  }
  ~Folder() { fs::remove_all(path_); }
  const fs::path &path() const { return path_; }

 private:
  fs::path path_;
};

// The editor on a photo, served on a free port.
struct Editor {
  explicit Editor(const fs::path &photo, Image img, ProfileOverrides overrides = {}) : bar(false) {
    auto filter = std::make_unique<FilterSession>(ORTAVEL_PLUGIN_PATH, bar);
    PhotoIdentity identity = identifyPhoto(*filter, img, photo.string());
    session = std::make_unique<UiSession>(photo, std::move(img), std::move(filter), identity,
                                          CorrectionSettings{}, std::move(overrides));
    server = std::make_unique<UiServer>(*session, kToken);
    port = server->start(0);
  }
  explicit Editor(const fs::path &photo) : Editor(photo, readImage(photo)) {}

  httplib::Client client() const {
    httplib::Client c("127.0.0.1", port);
    c.set_read_timeout(600, 0);  // sanitizer builds are slow
    return c;
  }
  std::string withToken(const std::string &path) const { return path + "?token=" + kToken; }
  httplib::Result post(const std::string &path, const std::string &body) const {
    return client().Post(withToken(path), body, "application/json");
  }
  json jobWhenDone() const {
    for (;;) {
      json j = json::parse(client().Get(withToken("/api/job"))->body);
      if (j.at("state") != "running") return j;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  ProgressBar bar;
  std::unique_ptr<UiSession> session;
  std::unique_ptr<UiServer> server;
  int port = 0;
};

const fs::path kPhoto = fs::path(ORTAVEL_TESTDATA_DIR) / "chessboard" / "0_left.jpg";

json previewBody(const json &settings, int w, int h, const char *picture = "corrected") {
  return {{"settings", settings}, {"box", {{"width", w}, {"height", h}}}, {"picture", picture}};
}

}  // namespace

TEST(UiSecurity, TokenHostAndOriginChecks) {
  EXPECT_TRUE(tokenMatches(kToken, kToken));
  EXPECT_FALSE(tokenMatches(kToken.substr(1), kToken));
  EXPECT_FALSE(tokenMatches(kToken + "a", kToken));
  EXPECT_FALSE(tokenMatches("", ""));
  const std::string a = makeToken(), b = makeToken();
  EXPECT_EQ(a.size(), 64U);
  EXPECT_EQ(a.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(a, b);

  EXPECT_TRUE(hostAllowed("127.0.0.1:8080", 8080));
  EXPECT_TRUE(hostAllowed("localhost:8080", 8080));
  for (const char *h : {"127.0.0.1", "127.0.0.1:8081", "evil.example:8080", "127.0.0.1.evil:8080",
                        "x127.0.0.1:8080", ":8080", ""})
    EXPECT_FALSE(hostAllowed(h, 8080)) << h;
  EXPECT_TRUE(originAllowed("http://localhost:8080", 8080));
  for (const char *o :
       {"null", "https://127.0.0.1:8080", "http://evil.example:8080", "http://127.0.0.1:8080/x"})
    EXPECT_FALSE(originAllowed(o, 8080)) << o;
}

TEST(UiSecurity, OutputPathsStayWhereTheUserSays) {
  Folder dir;
  const fs::path photo = dir.path() / "p.jpg";
  std::ofstream(photo) << "x";
  fs::create_directory(dir.path() / "sub");
  fs::create_symlink(photo, dir.path() / "link.jpg");

  const OutputTarget rel = resolveOutput("sub/../out.png", photo);
  EXPECT_EQ(rel.path, dir.path() / "out.png");
  EXPECT_FALSE(rel.exists);
  EXPECT_TRUE(resolveOutput(photo.string() + ".txt", photo).path.is_absolute());
  std::ofstream(dir.path() / "old.png") << "x";
  EXPECT_TRUE(resolveOutput("old.png", photo).exists);

  for (const std::string &bad :
       {std::string(), std::string("p.jpg"), std::string("link.jpg"), std::string("sub"),
        std::string("sub/"), std::string("missing/out.png"), std::string(5000, 'a')}) {
    EXPECT_THROW(resolveOutput(bad, photo), CliError) << bad;
  }
}

TEST(UiSettingsJson, RoundTripAndRefusals) {
  const CorrectionSettings s{-0.1, 0.2, 0.3, -0.4, 1.5, 1.25, 5, 6, {1, 2, 3, 4}};
  const CorrectionSettings back = settingsFromJson(settingsToJson(s), CorrectionSettings{});
  EXPECT_EQ(formatSettings(back), formatSettings(s));
  // Only the keys given change.
  EXPECT_EQ(settingsFromJson(json{{"k2", 0.5}}, s).k1, -0.1);

  for (const char *bad :
       {R"({"k1": "1"})", R"({"scale": 0})", R"({"radiusLimit": -1})", R"({"method": "nearest"})",
        R"({"orientation": 8})", R"({"margins": {"top": -1}})", R"({"margins": {"top": 1.5}})",
        R"({"margins": {"middle": 1}})", R"({"k3": 0})", R"([1, 2])"}) {
    EXPECT_THROW(settingsFromJson(json::parse(bad), CorrectionSettings{}), CliError) << bad;
  }
  EXPECT_THROW(parseBody("{"), CliError);
  EXPECT_THROW(parseBody("[]"), CliError);
}

TEST(UiCommandLine, PortBrowserAndStartingSettings) {
  const CommandLine cl =
      parseCommandLine({"ui", "a.jpg", "--port", "8123", "--no-browser", "--k1=-0.2"});
  EXPECT_EQ(std::tuple(cl.command, cl.files, cl.port, cl.openBrowser, cl.settings.k1),
            std::tuple(Command::kUi, std::vector<std::string>{"a.jpg"}, 8123, false, -0.2));
  EXPECT_TRUE(parseCommandLine({"ui", "a.jpg"}).openBrowser);
  for (const std::vector<std::string> &bad : {std::vector<std::string>{"ui"},
                                              {"ui", "a.jpg", "b.jpg"},
                                              {"ui", "a", "--port", "70000"},
                                              {"ui", "a", "--no-browser=1"},
                                              {"ui", "a", "-o", "d"},
                                              {"correct", "a", "b", "--port", "1"},
                                              {"preview", "a", "-o", "d", "--no-browser"}}) {
    EXPECT_THROW(parseCommandLine(bad), CliError) << bad.back();
  }
}

TEST(UiServer, EveryRequestNeedsTheTokenAndTheLocalHost) {
  Editor e(kPhoto);
  httplib::Client c = e.client();
  EXPECT_EQ(c.Get("/api/state")->status, 403);
  EXPECT_EQ(c.Get("/api/state?token=" + std::string(64, 'b'))->status, 403);
  EXPECT_EQ(c.Get("/?token=")->status, 403);
  EXPECT_EQ(c.Get("/app.js")->status, 403);
  EXPECT_EQ(c.Post("/api/job/cancel", "{}", "application/json")->status, 403);

  // A page elsewhere whose name resolves to 127.0.0.1 sends its own Host.
  EXPECT_EQ(c.Get(e.withToken("/api/state"), {{"Host", "evil.example:" + std::to_string(e.port)}})
                ->status,
            403);
  EXPECT_EQ(c.Get(e.withToken("/api/state"), {{"Origin", "http://evil.example"}})->status, 403);
  EXPECT_EQ(
      c.Get(e.withToken("/api/state"), {{"Host", "localhost:" + std::to_string(e.port)}})->status,
      200);

  const auto state = c.Get(e.withToken("/api/state"));
  ASSERT_EQ(state->status, 200);
  EXPECT_EQ(state->get_header_value("Cache-Control"), "no-store");
  const json j = json::parse(state->body);
  EXPECT_EQ(j.at("photo").at("width"), 1024);
  EXPECT_EQ(j.at("photo").at("height"), 768);
  EXPECT_EQ(j.at("profiles").at("available"), true);

  const auto pageAnswer = c.Get(e.withToken("/"));
  ASSERT_EQ(pageAnswer->status, 200);
  EXPECT_EQ(pageAnswer->get_header_value("Content-Type"), "text/html; charset=utf-8");
  EXPECT_NE(pageAnswer->body.find("app.js?token=" + kToken), std::string::npos);
  EXPECT_EQ(pageAnswer->body.find("{{TOKEN}}"), std::string::npos);
  const auto script = c.Get(e.withToken("/app.js"));
  ASSERT_EQ(script->status, 200);
  EXPECT_EQ(script->get_header_value("Content-Type"), "text/javascript; charset=utf-8");
  EXPECT_EQ(c.Get(e.withToken("/secret.js"))->status, 404);
}

TEST(UiServer, APortInUseIsRefusedNotShared) {
  Editor e(kPhoto);
  UiServer second(*e.session, kToken);
  EXPECT_THROW(second.start(e.port), CliError);
}

TEST(UiServer, BadRequestsGetAClearErrorAndTheServerGoesOn) {
  Editor e(kPhoto);
  struct Case {
    const char *path;
    std::string body;
    int status;
    const char *says;
  };
  const Case cases[] = {
      {"/api/preview", "{not json", 400, "not valid JSON"},
      {"/api/preview", "[1]", 400, "JSON object"},
      {"/api/preview", R"({"box": {"width": 10, "height": 10}})", 400, "no settings"},
      {"/api/preview", previewBody({{"k9", 1}}, 10, 10).dump(), 400, "unknown setting \"k9\""},
      {"/api/preview", previewBody({{"scale", 0}}, 10, 10).dump(), 400, "zoom"},
      {"/api/preview", previewBody(json::object(), 0, 10).dump(), 400, "box width"},
      {"/api/preview", previewBody(json::object(), 10, 10, "both").dump(), 400, "picture"},
      {"/api/preview", previewBody({{"margins", {{"top", 5000}}}}, 10, 10).dump(), 400,
       "larger than"},
      {"/api/correct", R"({"settings": {}, "path": "x.gif"})", 400, "unknown format"},
      {"/api/correct", R"({"settings": {}, "path": "x.png", "quality": 0})", 400, "quality"},
      {"/api/save-settings", R"({"settings": {}})", 400, "path"},
      {"/api/preview", std::string(kMaxRequestBytes + 1, ' '), 413, "too large"},
  };
  for (const Case &k : cases) {
    const auto r = e.post(k.path, k.body);
    ASSERT_TRUE(r) << k.path;
    EXPECT_EQ(r->status, k.status) << k.body.substr(0, 80);
    const json j = json::parse(r->body, nullptr, false);
    ASSERT_TRUE(j.is_object()) << r->body;
    EXPECT_NE(j.value("error", std::string()).find(k.says), std::string::npos) << r->body;
  }
  EXPECT_EQ(e.client().Get(e.withToken("/api/state"))->status, 200);
}

TEST(UiServer, AutoAndFillAnswerAsTheCommandDoes) {
  // A compact camera the lens database knows, by its EXIF alone.
  const fs::path camera =
      fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg/deb-opencv-doc_scenetext02.jpg";
  const Image img = readImage(camera);
  Editor e(camera);
  const auto r =
      e.post("/api/auto", json{{"settings", {{"method", "lanczos6"}, {"k1", -0.3}}}}.dump());
  ASSERT_EQ(r->status, 200) << r->body;
  const json got = json::parse(r->body).at("settings");

  // The same lookup the command's --auto makes, from the same file.
  const CommandLine cl =
      parseCommandLine({"correct", camera.string(), "x.jpg", "--auto", "--fill"});
  ProgressBar bar(false);
  FilterSession filter(ORTAVEL_PLUGIN_PATH, bar);
  const PhotoSettings want = settingsForPhoto(cl, filter, img, camera.string());
  ASSERT_TRUE(want.profile);
  EXPECT_EQ(got.at("k1").get<double>(), want.settings.k1);
  EXPECT_EQ(got.at("k2").get<double>(), want.settings.k2);
  EXPECT_EQ(got.at("scale").get<double>(), want.profile->scale);
  EXPECT_EQ(got.at("method"), "lanczos6");  // the user's choice stays

  // Fill on the profile's settings gives the zoom --auto --fill chose.
  const auto f = e.post("/api/fill", json{{"settings", got}}.dump());
  ASSERT_EQ(f->status, 200) << f->body;
  EXPECT_EQ(json::parse(f->body).at("scale").get<double>(), *want.fillZoom);

  // The chessboard photograph has no EXIF: Auto says so, and what to do.
  Editor bare(kPhoto);
  const auto none = bare.post("/api/auto", json{{"settings", json::object()}}.dump());
  EXPECT_EQ(none->status, 422);
  const std::string why = json::parse(none->body).at("error");
  EXPECT_NE(why.find("--k1"), std::string::npos) << why;
}

TEST(UiServer, TheLensPickerChoosesAsTheLensModelOptionDoes) {
  // A Nikon D70 with its kit zoom recorded, at 56 mm.
  Folder dir;
  const fs::path photo = dir.path() / "d70.jpg";
  fs::copy_file(fs::path(ORTAVEL_TESTDATA_DIR) / "lens/deb-exiftool_NikonD70.jpg", photo);
  Editor e(photo);
  const json lenses = json::parse(e.client().Get(e.withToken("/api/lenses"))->body);
  EXPECT_EQ(lenses.at("camera"), "Nikon D70");
  EXPECT_EQ(lenses.at("mount"), "Nikon F AF");
  std::set<std::string> names;
  bool sawOtherRange = false;
  for (const json &l : lenses.at("lenses")) {
    EXPECT_TRUE(names.insert(l.at("name").get<std::string>()).second) << l.dump();
    const bool covers = l.at("minFocal").get<double>() <= 56.0 * 1.03 &&
                        l.at("maxFocal").get<double>() >= 56.0 / 1.03;
    EXPECT_EQ(l.at("coversFocal").get<bool>(), covers) << l.dump();
    // Those that cover the focal length come first.
    if (!covers) sawOtherRange = true;
    EXPECT_FALSE(covers && sawOtherRange) << l.dump();
  }
  EXPECT_TRUE(sawOtherRange);
  EXPECT_EQ(lenses.at("lenses").at(0).at("name"),
            "Nikon AF-S DX Zoom-Nikkor 18-70mm f/3.5-4.5G IF-ED");

  // Another lens of the mount: the profile --lens-model gives, at once.
  const std::string sigma = "Sigma 24-70mm f/2.8 IF EX DG HSM";
  ASSERT_EQ(names.count(sigma), 1U);
  const auto r = e.post("/api/lens", json{{"lens", sigma}, {"settings", {{"k1", 0.5}}}}.dump());
  ASSERT_EQ(r->status, 200) << r->body;
  const json chose = json::parse(r->body);
  const CommandLine cl =
      parseCommandLine({"correct", photo.string(), "x.jpg", "--auto", "--lens-model", sigma});
  ProgressBar bar(false);
  FilterSession filter(ORTAVEL_PLUGIN_PATH, bar);
  const PhotoSettings want = settingsForPhoto(cl, filter, readImage(photo), photo.string());
  ASSERT_TRUE(want.profile);
  EXPECT_EQ(chose.at("settings").at("k1").get<double>(), want.settings.k1);
  EXPECT_EQ(chose.at("settings").at("k2").get<double>(), want.settings.k2);
  EXPECT_EQ(chose.at("settings").at("scale").get<double>(), want.settings.scale);
  EXPECT_EQ(chose.at("profile").at("lens"), sigma);
  EXPECT_EQ(chose.at("profile").at("fitErrorPx").get<double>(), want.profile->fitErrorPx);
  EXPECT_EQ(chose.at("choice").at("lens"), sigma);
  // Auto and Fill take the choice from now on.
  const auto a = e.post("/api/auto", json{{"settings", json::object()}}.dump());
  EXPECT_EQ(json::parse(a->body).at("profile").at("lens"), sigma);

  // Saved with the settings, and read back by the command line.
  ASSERT_EQ(e.post("/api/save-settings",
                   json{{"settings", chose.at("settings")}, {"path", "s.txt"}}.dump())
                ->status,
            200);
  const CommandLine back =
      parseCommandLine({"ui", photo.string(), "--settings", (dir.path() / "s.txt").string()});
  EXPECT_EQ(back.profile.lensModel, sigma);
  EXPECT_FALSE(back.profile.camera);
  EXPECT_EQ(back.settings.k1, want.settings.k1);
  const CommandLine mine = parseCommandLine(
      {"ui", photo.string(), "--settings", (dir.path() / "s.txt").string(), "--lens-model", "X"});
  EXPECT_EQ(mine.profile.lensModel, "X");

  // Names the settings file could not hold, and what is not a name.
  for (const json &bad : {json{{"lens", std::string(300, 'a')}}, json{{"lens", "a\nk1 = 5"}},
                          json{{"lens", "a#b"}}, json{{"lens", " "}}, json{{"lens", 5}},
                          json{{"camera", json::array()}}, json{{"mount", "x"}}}) {
    json body = bad;
    body["settings"] = json::object();
    const auto refused = e.post("/api/lens", body.dump());
    EXPECT_EQ(refused->status, 400) << bad.dump();
  }
  EXPECT_EQ(e.session->profileNames().lens, sigma);  // a refusal changes nothing
  // Blanks at either end are dropped, as a settings file drops them.
  const auto blanks =
      e.post("/api/lens", json{{"lens", "\t" + sigma + " "}, {"settings", json::object()}}.dump());
  EXPECT_EQ(blanks->status, 200);
  EXPECT_EQ(e.session->profileNames().lens, sigma);
  // null: the photo's own lens again.
  const auto own =
      e.post("/api/lens", json{{"lens", nullptr}, {"settings", json::object()}}.dump());
  EXPECT_EQ(json::parse(own->body).at("profile").at("lens"),
            "Nikon AF-S DX Zoom-Nikkor 18-70mm f/3.5-4.5G IF-ED");
}

TEST(UiServer, WithoutAKnownCameraTheCameraIsChosenFirst) {
  Editor e(kPhoto);  // no EXIF at all
  const json none = json::parse(e.client().Get(e.withToken("/api/lenses"))->body);
  EXPECT_TRUE(none.at("camera").is_null());
  EXPECT_TRUE(none.at("lenses").empty());
  EXPECT_FALSE(none.at("reason").get<std::string>().empty());
  const json cameras = json::parse(e.client().Get(e.withToken("/api/cameras"))->body);
  const auto &list = cameras.at("cameras");
  EXPECT_GT(list.size(), 100U);
  EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
  EXPECT_NE(std::find(list.begin(), list.end(), "Nikon D70"), list.end());

  const auto r =
      e.post("/api/lens", json{{"camera", "Nikon D70"}, {"settings", json::object()}}.dump());
  ASSERT_EQ(r->status, 200) << r->body;
  // No focal length and no lens: no profile yet, and the reason.
  EXPECT_FALSE(json::parse(r->body).at("reason").get<std::string>().empty());
  const json lenses = json::parse(e.client().Get(e.withToken("/api/lenses"))->body);
  EXPECT_EQ(lenses.at("camera"), "Nikon D70");
  EXPECT_FALSE(lenses.at("lenses").empty());
}

TEST(UiServer, FillWarnsWhenItsZoomFoldsThePicture) {
  Editor e(kPhoto);
  const auto gentle = e.post("/api/fill", json{{"settings", {{"k1", -0.05}}}}.dump());
  ASSERT_EQ(gentle->status, 200) << gentle->body;
  EXPECT_FALSE(json::parse(gentle->body).contains("warning"));

  const auto strong = e.post("/api/fill", json{{"settings", {{"k1", -0.6}}}}.dump());
  ASSERT_EQ(strong->status, 200) << strong->body;
  const json j = json::parse(strong->body);
  EXPECT_NE(j.at("warning").get<std::string>().find("folds the picture"), std::string::npos);
  // The k1 offered fills without folding, as the command sees it.
  const double k1 = j.at("strongestK1").get<double>();
  EXPECT_GT(k1, -0.6);
  EXPECT_LT(k1, 0.0);
  CorrectionSettings s;
  s.k1 = k1;
  const auto zoom = fillZoom(s, 1024, 768);
  ASSERT_TRUE(zoom);
  EXPECT_FALSE(foldsAtZoom(s, 1024, 768, *zoom));
  s.k1 = k1 - 0.01;
  EXPECT_TRUE(foldsAtZoom(s, 1024, 768, *fillZoom(s, 1024, 768)));
}

TEST(UiServer, VignettingIsTakenOutAsTheCommandDoes) {
  Folder dir;
  const fs::path photo = dir.path() / "photo.jpg";
  fs::copy_file(fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg/deb-opencv-doc_scenetext02.jpg",
                photo);
  // The photograph said to come from a lens whose vignetting the database knows.
  const std::vector<std::string> lens = {
      "--camera", "Canon EOS 80D", "--lens-model", "Canon EF-S 10-22mm f/3.5-4.5 USM", "--focal",
      "10",       "--aperture",    "3.5"};
  std::vector<std::string> args = {"ui", photo.string()};
  args.insert(args.end(), lens.begin(), lens.end());
  Editor e(photo, readImage(photo), parseCommandLine(args).profile);

  const auto v = e.post("/api/vignetting", "{}");
  ASSERT_EQ(v->status, 200) << v->body;
  const std::string note = json::parse(v->body).at("note");
  EXPECT_NE(note.find("f/3.5"), std::string::npos) << note;

  const auto a = e.post("/api/auto", json{{"settings", json::object()}}.dump());
  ASSERT_EQ(a->status, 200) << a->body;
  const json settings = json::parse(a->body).at("settings");
  EXPECT_FALSE(json::parse(a->body).at("notes").empty());
  const json correct = {{"settings", settings}, {"path", "v.png"}, {"vignetting", true}};
  ASSERT_EQ(e.post("/api/correct", correct.dump())->status, 202);
  ASSERT_EQ(e.jobWhenDone().at("state"), "done");

  // `ortavel correct --auto --vignetting` with the same names, in this process.
  args = {"correct", photo.string(), "x.png", "--auto", "--vignetting"};
  args.insert(args.end(), lens.begin(), lens.end());
  const CommandLine cl = parseCommandLine(args);
  ProgressBar bar(false);
  FilterSession filter(ORTAVEL_PLUGIN_PATH, bar);
  Image img = readImage(photo);
  const PhotoSettings want = settingsForPhoto(cl, filter, img, "x");
  ASSERT_TRUE(correctPhotoVignetting(cl, want, img, "x"));
  filter.correct(img, want.settings, "x");
  const Image got = readImage(dir.path() / "v.png");
  ASSERT_EQ(got.doc.planes.size(), 3u);
  for (int c = 0; c < 3; ++c) EXPECT_TRUE(got.doc.planes[c].samples == img.doc.planes[c].samples);

  // The uncorrected preview is the photo without its vignetting: brighter.
  auto mean = [](const std::string &rgb) {
    double sum = 0.0;
    for (unsigned char ch : rgb) sum += ch;
    return sum / static_cast<double>(rgb.size());
  };
  json plain = previewBody(json::object(), 200, 200, "uncorrected");
  const auto before = e.post("/api/preview", plain.dump());
  plain["vignetting"] = true;
  const auto lighter = e.post("/api/preview", plain.dump());
  ASSERT_EQ(lighter->status, 200) << lighter->body;
  EXPECT_GT(mean(lighter->body), mean(before->body) + 1.0);

  // Without a lens profile there is nothing to take out, and the page is told why.
  Editor bare(kPhoto);
  const auto none = bare.post("/api/vignetting", "{}");
  EXPECT_EQ(none->status, 422);
  EXPECT_NE(json::parse(none->body).at("error").get<std::string>().find("--camera"),
            std::string::npos);
  EXPECT_EQ(bare.post("/api/preview", plain.dump())->status, 400);
}

TEST(UiServer, PreviewsAreThePluginsOwnForTheSettingsAsked) {
  Editor e(kPhoto);
  const json first = {{"k1", -0.1}};
  const json second = {{"k1", -0.25}, {"k2", 0.03}, {"method", "lanczos6"}};
  // The first request makes both pictures; the second corrects the kept
  // uncorrected one. Both must equal what a fresh full preview call makes.
  for (const json &settings : {first, second}) {
    const auto r = e.post("/api/preview", previewBody(settings, 400, 300).dump());
    ASSERT_EQ(r->status, 200) << r->body;
    ProgressBar bar(false);
    FilterSession fresh(ORTAVEL_PLUGIN_PATH, bar);
    const Previews p = fresh.preview(
        readImage(kPhoto), settingsFromJson(settings, CorrectionSettings{}), 400, 300, "fresh");
    EXPECT_EQ(r->get_header_value("X-Preview-Width"), std::to_string(p.corrected.width));
    EXPECT_EQ(r->get_header_value("X-Preview-Height"), std::to_string(p.corrected.height));
    EXPECT_TRUE(r->body == std::string(p.corrected.pixels.begin(), p.corrected.pixels.end()))
        << settings.dump();

    const auto un = e.post("/api/preview", previewBody(settings, 400, 300, "uncorrected").dump());
    ASSERT_EQ(un->status, 200);
    EXPECT_TRUE(un->body == std::string(p.uncorrected.pixels.begin(), p.uncorrected.pixels.end()));
  }
  // Never larger than the photo.
  const auto big = e.post("/api/preview", previewBody(first, 4000, 4000).dump());
  EXPECT_EQ(big->get_header_value("X-Preview-Width"), "1024");
}

TEST(UiServer, TheOneToOneViewIsCutFromTheFullSizeCorrection) {
  // The photo beside its mirror image: planes of over a megabyte, which the
  // session's corrections pass on to the next one.
  const Image photo = readImage(kPhoto);
  Image wide = photo;
  allocatePlanes(wide, 2 * photo.doc.width, photo.doc.height, 8,
                 static_cast<int>(photo.doc.planes.size()));
  const auto w0 = static_cast<std::size_t>(photo.doc.width);
  for (std::size_t p = 0; p < wide.doc.planes.size(); ++p)
    for (std::size_t y = 0; y < static_cast<std::size_t>(photo.doc.height); ++y)
      for (std::size_t x = 0; x < w0; ++x) {
        const std::uint8_t v = photo.doc.planes[p].samples[y * w0 + x];
        wide.doc.planes[p].samples[y * 2 * w0 + x] = v;
        wide.doc.planes[p].samples[y * 2 * w0 + 2 * w0 - 1 - x] = v;
      }
  ASSERT_GT(wide.doc.planeBytes(), hostemu::kRecycledBlockMin);
  const json settings = {{"k1", -0.2}, {"margins", {{"left", 10}, {"top", 4}}}};
  ProgressBar bar(false);
  FilterSession fresh(ORTAVEL_PLUGIN_PATH, bar);
  Image full = wide;  // corrected before the session keeps freed memory: fresh memory
  fresh.correct(full, settingsFromJson(settings, CorrectionSettings{}), "fresh");
  Editor e(kPhoto, wide);
  const std::int32_t W = full.doc.width, H = full.doc.height;
  ASSERT_EQ(W, e.session->photo().width + 10);
  // Grey pictures are shown as RGB with three equal samples.
  auto want = [&](int x0, int y0, int w, int h) {
    std::string rgb;
    for (int y = y0; y < y0 + h; ++y)
      for (int x = x0; x < x0 + w; ++x)
        for (int c = 0; c < 3; ++c) {
          const auto &plane = full.doc.planes[full.colourChannels() == 1 ? 0 : c].samples;
          rgb += static_cast<char>(plane[static_cast<std::size_t>(y) * W + x]);
        }
    return rgb;
  };
  // Two corrections with other settings first: the one asked for then runs
  // in the memory they freed, which holds their pixels.
  for (const double k1 : {0.1, -0.05}) {
    const json other = {{"settings", {{"k1", k1}, {"margins", {{"left", 10}, {"top", 4}}}}},
                        {"rect", {{"x", 0}, {"y", 0}, {"width", 8}, {"height", 8}}}};
    ASSERT_EQ(e.post("/api/crop", other.dump())->status, 200);
  }
  // A window inside, and one in the corner of the margins (from the kept
  // correction).
  for (const auto &[x, y, w, h] : {std::tuple(100, 50, 64, 32), std::tuple(W - 16, H - 8, 16, 8),
                                   std::tuple(0, 0, 12, 6), std::tuple(0, 0, W, H)}) {
    const json body = {{"settings", settings},
                       {"rect", {{"x", x}, {"y", y}, {"width", w}, {"height", h}}}};
    const auto r = e.post("/api/crop", body.dump());
    ASSERT_EQ(r->status, 200) << r->body;
    EXPECT_EQ(r->get_header_value("X-Preview-Width"), std::to_string(w));
    EXPECT_EQ(r->get_header_value("X-Preview-Height"), std::to_string(h));
    EXPECT_TRUE(r->body == want(x, y, w, h)) << x << "," << y;
  }
  for (const json &rect :
       {json{{"x", W - 15}, {"y", 0}, {"width", 16}, {"height", 8}},  // past the right edge
        json{{"x", 0}, {"y", H}, {"width", 1}, {"height", 1}},
        json{{"x", -1}, {"y", 0}, {"width", 16}, {"height", 8}},
        json{{"x", 0}, {"y", 0}, {"width", 0}, {"height", 8}},
        json{{"x", 0}, {"y", 0}, {"width", 5000}, {"height", 8}},
        json{{"x", 0}, {"y", 0}, {"width", 3000}, {"height", 3000}},  // over the area limit
        json{{"x", 0.5}, {"y", 0}, {"width", 16}, {"height", 8}}, json{{"x", 0}, {"y", 0}}}) {
    const auto r = e.post("/api/crop", json{{"settings", settings}, {"rect", rect}}.dump());
    EXPECT_EQ(r->status, 400) << rect.dump() << " " << r->body;
  }
  EXPECT_EQ(e.post("/api/crop", json{{"settings", settings}}.dump())->status, 400);
}

TEST(UiServer, WritesOnlyWhereAskedAndExistingFilesOnlyWhenConfirmed) {
  Folder dir;
  const fs::path photo = dir.path() / "photo.jpg";
  fs::copy_file(kPhoto, photo);
  Editor e(photo);
  const json settings = {{"k1", -0.2}, {"method", "lanczos8"}};
  const json save = {{"settings", settings}, {"path", "lens.txt"}};

  ASSERT_EQ(e.post("/api/save-settings", save.dump())->status, 200);
  CorrectionSettings read;
  readSettingsFile(dir.path() / "lens.txt", read);
  EXPECT_EQ(formatSettings(read), formatSettings(settingsFromJson(settings, {})));

  std::ofstream(dir.path() / "lens.txt") << "mine";
  const auto again = e.post("/api/save-settings", save.dump());
  EXPECT_EQ(again->status, 409);
  EXPECT_TRUE(json::parse(again->body).at("exists"));
  EXPECT_EQ(slurp(dir.path() / "lens.txt"), "mine");
  json confirmed = save;
  confirmed["overwrite"] = true;
  EXPECT_EQ(e.post("/api/save-settings", confirmed.dump())->status, 200);
  EXPECT_NE(slurp(dir.path() / "lens.txt"), "mine");

  json onPhoto = confirmed;
  onPhoto["path"] = "photo.jpg";
  EXPECT_EQ(e.post("/api/save-settings", onPhoto.dump())->status, 400);
  EXPECT_EQ(e.post("/api/correct", onPhoto.dump())->status, 400);
  EXPECT_EQ(slurp(photo), slurp(kPhoto));

  const json correct = {{"settings", settings}, {"path", "out.png"}};
  ASSERT_EQ(e.post("/api/correct", correct.dump())->status, 202);
  const json done = e.jobWhenDone();
  EXPECT_EQ(done.at("state"), "done") << done.dump();
  EXPECT_EQ(done.at("path"), (dir.path() / "out.png").string());
  const Image out = readImage(dir.path() / "out.png");
  EXPECT_EQ(out.doc.width, 1024);
  EXPECT_EQ(e.post("/api/correct", correct.dump())->status, 409);
}

// Large enough that lanczos12 over it takes seconds, so that requests sent
// meanwhile reach the server while the module is busy.
Image bigPhoto() {
  Image big;
  big.colour = ColourModel::kRgb;
  big.format = FileFormat::kPng;
  big.fileBits = 16;
  allocatePlanes(big, 4000, 3000, 16, 3);
  for (auto &plane : big.doc.planes)
    for (std::size_t i = 0; i < plane.samples.size(); ++i)
      plane.samples[i] = static_cast<std::uint8_t>(i * 7);
  return big;
}

TEST(UiServer, ANewerPreviewSupersedesOneStillWaiting) {
  Folder dir;
  Editor e(dir.path() / "big.png", bigPhoto());
  // The two small requests must both arrive while the big one runs: with
  // Lanczos 8 it had come to take about as long as the two pauses on a fast
  // machine, and finished first.
  const json slow = previewBody({{"method", "lanczos12"}}, 4000, 3000);
  auto send = [&e](const json &body) {
    const auto r = e.post("/api/preview", body.dump());
    return r ? r->status : -1;
  };
  auto busy = std::async(std::launch::async, send, slow);
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  auto older = std::async(std::launch::async, send, previewBody({{"k1", -0.1}}, 64, 64));
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  auto newer = std::async(std::launch::async, send, previewBody({{"k1", -0.2}}, 64, 64));
  EXPECT_EQ(std::tuple(busy.get(), older.get(), newer.get()), std::tuple(200, 409, 200));
}

TEST(UiServer, ACorrectionCanBeCancelledAndPreviewsWaitForIt) {
  Folder dir;
  Editor e(dir.path() / "big.png", bigPhoto());

  const json correct = {{"settings", {{"k1", -0.1}, {"method", "lanczos12"}}}, {"path", "out.tif"}};
  ASSERT_EQ(e.post("/api/correct", correct.dump())->status, 202);
  const auto preview = e.post("/api/preview", previewBody(json::object(), 200, 200).dump());
  EXPECT_EQ(preview->status, 409);
  EXPECT_TRUE(json::parse(preview->body).at("busy"));
  const auto second = e.post("/api/correct", correct.dump());
  EXPECT_EQ(second->status, 400);
  EXPECT_NE(second->body.find("already running"), std::string::npos);

  const auto cancel = e.post("/api/job/cancel", "{}");
  EXPECT_TRUE(json::parse(cancel->body).at("cancelling"));
  const json j = e.jobWhenDone();
  EXPECT_EQ(j.at("state"), "cancelled") << j.dump();
  EXPECT_LT(j.at("done").get<int>(), j.at("total").get<int>());
  // Nothing written, not even a temporary file.
  EXPECT_TRUE(fs::is_empty(dir.path()));
  // Previews resume.
  EXPECT_EQ(e.post("/api/preview", previewBody(json::object(), 200, 200).dump())->status, 200);
  EXPECT_FALSE(json::parse(e.post("/api/job/cancel", "{}")->body).at("cancelling"));
}

// ---- abusive clients ---------------------------------------------------------

namespace {

// A raw connection to the editor, for what no well-behaved client sends.
class RawSocket {
 public:
  explicit RawSocket(int port) : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<std::uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = ::connect(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
  }
  ~RawSocket() { ::close(fd_); }
  RawSocket(const RawSocket &) = delete;
  RawSocket &operator=(const RawSocket &) = delete;

  bool connected() const { return connected_; }
  int fd() const { return fd_; }
  bool send(const std::string &s) const {
    return ::send(fd_, s.data(), s.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(s.size());
  }
  // What the server sends until it closes or `seconds` pass.
  std::string receive(int seconds) const {
    std::string got;
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (;;) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          until - std::chrono::steady_clock::now());
      pollfd p{fd_, POLLIN, 0};
      if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
      char buf[4096];
      const ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
      if (n <= 0) break;
      got.append(buf, static_cast<std::size_t>(n));
    }
    return got;
  }

 private:
  int fd_;
  bool connected_ = false;
};

std::size_t residentBytes() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0, resident = 0;
  statm >> pages >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::string requestHead(const Editor &e, const std::string &extra) {
  return "POST " + e.withToken("/api/preview") +
         " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(e.port) +
         "\r\nContent-Type: application/json\r\n" + extra + "\r\n";
}

}  // namespace

TEST(UiServerLimits, AHugeBodyIsRefusedWhileItIsSentWhateverItsEncoding) {
  Editor e(kPhoto);
  constexpr std::size_t kOffered = 400U << 20;  // what the client would send
  constexpr std::size_t kChunk = 64 * 1024;
  std::string chunk = "10000\r\n" + std::string(kChunk, ' ') + "\r\n";  // 0x10000 bytes
  const struct {
    const char *name;
    std::string head;
    std::string piece;
  } cases[] = {{"chunked", "Transfer-Encoding: chunked\r\n", chunk},
               {"declared length", "Content-Length: " + std::to_string(kOffered) + "\r\n",
                std::string(kChunk, ' ')}};
  const std::size_t before = residentBytes();
  for (const auto &k : cases) {
    RawSocket s(e.port);
    ASSERT_TRUE(s.connected());
    ASSERT_TRUE(s.send(requestHead(e, k.head)));
    // Send until the server answers or stops reading; a server that reads
    // the whole body first takes all of it.
    std::size_t sent = 0;
    std::string answer;
    while (sent < kOffered) {
      pollfd p{s.fd(), POLLIN | POLLOUT, 0};
      if (::poll(&p, 1, 3000) <= 0) break;
      if ((p.revents & POLLIN) != 0) {
        answer = s.receive(5);
        break;
      }
      const ssize_t n = ::send(s.fd(), k.piece.data(), k.piece.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) break;
      if (n > 0) sent += static_cast<std::size_t>(n);
    }
    if (answer.empty()) answer = s.receive(5);
    EXPECT_EQ(answer.substr(0, 12), "HTTP/1.1 413") << k.name << ": " << answer.substr(0, 200);
    EXPECT_NE(answer.find("too large"), std::string::npos) << k.name;
    // Socket buffers on both sides hold a few megabytes at most.
    EXPECT_LT(sent, std::size_t{32} << 20) << k.name;
  }
  EXPECT_LT(residentBytes(), before + (std::size_t{64} << 20));
  EXPECT_EQ(e.client().Get(e.withToken("/api/state"))->status, 200);
}

TEST(UiServerLimits, IdleAndSlowClientsDoNotHoldUpARealRequest) {
  Editor e(kPhoto);
  // More silent connections than the server has handler threads, and as
  // many that stop half-way through a request head.
  std::vector<std::unique_ptr<RawSocket>> idle;
  for (int i = 0; i < 16; ++i) {
    idle.push_back(std::make_unique<RawSocket>(e.port));
    ASSERT_TRUE(idle.back()->connected());
  }
  for (int i = 0; i < 16; ++i) {
    idle.push_back(std::make_unique<RawSocket>(e.port));
    ASSERT_TRUE(idle.back()->send("GET " + e.withToken("/api/state") + " HTTP/1.1\r\nHo"));
  }
  // The answer comes well before any of them times out.
  httplib::Client c("127.0.0.1", e.port);
  c.set_connection_timeout(3, 0);
  c.set_read_timeout(3, 0);
  const auto r = c.Get(e.withToken("/api/state"));
  ASSERT_TRUE(r) << httplib::to_string(r.error());
  EXPECT_EQ(r->status, 200);

  // The server lets them go by itself: a slow head gets 408, a silent
  // connection is closed.
  const std::string slow = idle.back()->receive(30);
  EXPECT_EQ(slow.substr(0, 12), "HTTP/1.1 408") << slow;
  EXPECT_EQ(idle.front()->receive(30), "");
  char byte = 0;
  EXPECT_EQ(::recv(idle.front()->fd(), &byte, 1, MSG_DONTWAIT), 0) << "still open";
}

TEST(UiServerLimits, BurstsAreServedAndEachClientHasACap) {
  Editor e(kPhoto);
  // A burst of connections, each with a request, all answered.
  const std::string get = "GET " + e.withToken("/api/job") +
                          " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(e.port) +
                          "\r\nConnection: close\r\n\r\n";
  std::vector<std::unique_ptr<RawSocket>> burst;
  for (int i = 0; i < 48; ++i) burst.push_back(std::make_unique<RawSocket>(e.port));
  for (const auto &s : burst) ASSERT_TRUE(s->send(get));
  for (const auto &s : burst) EXPECT_EQ(s->receive(30).substr(0, 12), "HTTP/1.1 200");
  burst.clear();

  // Past the cap, a connection from the same address is turned away at once
  // with a reason, and served again once the others are gone.
  std::vector<std::unique_ptr<RawSocket>> held;
  for (std::size_t i = 0; i < kMaxConnectionsPerClient; ++i) {
    held.push_back(std::make_unique<RawSocket>(e.port));
  }
  // The server counts a connection once it has accepted it: ask until it has
  // (a connection it took in instead would get no answer within a second).
  std::string refused;
  for (int attempt = 0; attempt < 50 && refused.empty(); ++attempt) {
    RawSocket extra(e.port);
    refused = extra.receive(1);
  }
  EXPECT_EQ(refused.substr(0, 12), "HTTP/1.1 503") << refused;
  EXPECT_NE(refused.find("too many connections"), std::string::npos);
  held.clear();
  // Once the server has seen them close, the address is served again.
  int status = 0;
  for (int attempt = 0; attempt < 50 && status != 200; ++attempt) {
    if (attempt > 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto r = e.client().Get(e.withToken("/api/state"));
    status = r ? r->status : 0;
  }
  EXPECT_EQ(status, 200);
}

TEST(UiServerLimits, RequestHeadParsing) {
  EXPECT_EQ(headLength("GET / HTTP/1.1\r\nHost: x\r\n\r\nrest"), 27U);
  EXPECT_EQ(headLength("GET / HTTP/1.1\nHost: x\n\nrest"), 24U);
  EXPECT_EQ(headLength("GET / HTTP/1.1\r\nHost: x\r\n"), 0U);
  EXPECT_EQ(declaredLength("POST / HTTP/1.1\r\ncontent-LENGTH:  42 \r\n\r\n"), 42U);
  EXPECT_EQ(declaredLength("POST / HTTP/1.1\r\nX-Content-Length: 42\r\n\r\n"), std::nullopt);
  EXPECT_EQ(declaredLength("POST / HTTP/1.1\r\nContent-Length: 4x\r\n\r\n"), std::nullopt);
  EXPECT_EQ(declaredLength("POST / HTTP/1.1\r\n\r\n"), std::nullopt);
}

TEST(UiSettingsJson, ValuesTheModelCannotUseAreRefusedAsTheCommandRefusesThem) {
  struct Case {
    json settings;
    std::vector<std::string> option;
    const char *says;
  };
  const Case cases[] = {
      {{{"k1", 2e6}}, {"--k1=2e6"}, "k1 must be between -1e+06 and 1e+06"},
      {{{"k2", -1.5e6}}, {"--k2=-1.5e6"}, "k2 must be between"},
      {{{"scale", 1e-7}}, {"--scale=1e-7"}, "zoom must be between 1e-06 and 1e+06"},
      {{{"centerX", 5000}}, {"--center=5000,0"}, "center x must be between -1000 and 1000"},
      {{{"centerY", -1e9}}, {"--center=0,-1e9"}, "center y must be between"},
  };
  for (const Case &k : cases) {
    std::string fromJson, fromCommand;
    try {
      settingsFromJson(k.settings, CorrectionSettings{});
    } catch (const CliError &err) {
      fromJson = err.what();
    }
    std::vector<std::string> args = {"correct", "a.jpg", "b.jpg"};
    args.insert(args.end(), k.option.begin(), k.option.end());
    try {
      parseCommandLine(args);
    } catch (const CliError &err) {
      fromCommand = err.what();
    }
    EXPECT_NE(fromJson.find(k.says), std::string::npos) << fromJson;
    EXPECT_EQ(fromJson, fromCommand);
  }
  // The limits themselves are usable.
  EXPECT_NO_THROW(settingsFromJson(
      json{{"k1", -1e6}, {"k2", 1e6}, {"scale", 1e-6}, {"centerX", 1000}, {"centerY", -1000}},
      CorrectionSettings{}));
}

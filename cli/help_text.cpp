#include "help_text.h"

#include "lens_presets.h"

namespace ortavel::cli {
namespace {

const char kGeneral[] =
    "Usage: ortavel COMMAND [OPTIONS] FILES...\n"
    "\n"
    "Corrects the barrel and pincushion distortion of a camera lens in photographs,\n"
    "by running the Ortavel filter plug-in in an emulated host.\n"
    "\n"
    "Commands:\n"
    "  correct IN OUT [options]       correct one picture\n"
    "  correct IN... -o DIR [options] correct several pictures, in parallel\n"
    "  info IN...                     camera make, model and focal length; size, depth, mode\n"
    "  preview IN -o DIR [options]    uncorrected and corrected previews as PNG\n"
    "  lenses [TEXT]                  cameras and lenses of the lens database\n"
    "  ui PHOTO [options]             live before/after editor in the web browser\n"
    "  about                          the plug-in's about text\n"
    "  help [COMMAND]                 this text, or a command's\n"
    "\n"
    "Options for every command:\n"
    "  --plugin PATH   the plug-in module to load (default: found next to the command)\n"
    "  -q, --quiet     no progress bar and no report lines; errors are still shown\n"
    "  -h, --help      help for the command; --version: the version\n"
    "\n"
    "Exit status: 0 success, 2 bad usage, 3 bad input, 4 failure, 130 interrupted.\n"
    "Run 'ortavel help correct' for the correction options.\n";

const char kCorrect[] =
    "Usage: ortavel correct IN OUT [options]\n"
    "       ortavel correct IN... -o DIR [options]\n"
    "\n"
    "Corrects the lens distortion of IN and writes OUT (JPEG, PNG or TIFF, chosen by\n"
    "OUT's extension). With -o, every IN is written to DIR under its own name; the\n"
    "files are read and written in parallel, one failure does not stop the others,\n"
    "and a summary is printed at the end. OUT is written to a temporary file and\n"
    "renamed into place: a failure never leaves half a file, and IN is never touched.\n"
    "\n"
    "Lens parameters (the filter's normalised units: -1..1 across the wider side):\n"
    "  --k1 F              first radial coefficient (r^2); negative corrects barrel\n"
    "  --k2 F              second radial coefficient (r^4)\n"
    "  --center X,Y        optical centre offset from the picture centre\n"
    "  --radius-limit F    compress radii towards F with an arctangent; 0 = off\n"
    "  --zoom F            greater than 0; above 1 magnifies (default 1; --scale too)\n"
    "  --orientation O     how the picture is turned relative to the lens: 0..7 or\n"
    "                      top, left, bottom, right, top-mirrored, left-mirrored,\n"
    "                      bottom-mirrored, right-mirrored (default top = 0)\n"
    "  --margins T,B,L,R   enlarge the canvas by these many pixels (picture kept at\n"
    "                      the top-left) so what the correction pushes out is kept\n"
    "  --method M          bilinear, bicubic (default), lanczos6, lanczos8,\n"
    "                      lanczos12, test-align\n"
    "  --lens NAME         coefficients of a known lens (see below)\n"
    "  --settings FILE     read parameters from FILE first; options override it\n"
    "  --save-settings FILE  write the parameters the filter recorded to FILE\n"
    "                      (a new file; an existing one only with --force)\n"
    "\n"
    "Lens profiles (the lensfun database; see 'ortavel lenses'):\n"
    "  --auto              k1, k2 and zoom from the profile of the photograph's\n"
    "                      camera and lens, found from its EXIF data (each file\n"
    "                      of a batch with its own); cameras with a fixed lens\n"
    "                      are found by the camera alone\n"
    "  --lens-model TEXT   the lens, when the file does not name it\n"
    "  --camera NAME       the camera, instead of what EXIF says: as `ortavel\n"
    "                      lenses` lists it, or \"MAKER MODEL\"\n"
    "  --focal MM          the focal length, instead of what EXIF says\n"
    "  --fill              the zoom that leaves no empty border, and no more\n"
    "                      (with --auto or with your own coefficients)\n"
    "  --vignetting        with --auto: first brighten the corners by the lens's\n"
    "                      vignetting profile, in linear light (8 and 16 bits)\n"
    "  --aperture F        the f-number for --vignetting, instead of what EXIF says\n"
    "\n"
    "Output:\n"
    "  -o, --output-dir DIR  write into DIR (batch mode)\n"
    "  -f, --force           replace output files that exist\n"
    "  --skip-existing       leave outputs that exist, counted apart from failures\n"
    "                        (to rerun a batch, or share one folder among runs)\n"
    "  --max-pixels N        refuse inputs larger than N pixels (default 1000000000)\n"
    "  --quality N           JPEG quality 1..100 (default 95)\n"
    "  --tiff-compression C  none, deflate (default), lzw or zstd, for TIFF output;\n"
    "                        deflate:1..9 and zstd:1..19 set the level; without one,\n"
    "                        zstd runs at 1 and deflate faster still (literals only)\n"
    "  --sampling 444|422|420  JPEG chroma subsampling (default: the input JPEG's, else 420)\n"
    "  -j, --jobs N          files read and written at once (default: processors, max 4)\n"
    "  --threads N           processors the correction may use (default: those the\n"
    "                        process may run on; also ORTAVEL_THREADS)\n"
    "\n"
    "Known lenses:\n";

const char kInfo[] =
    "Usage: ortavel info IN... [--camera NAME] [--lens-model TEXT] [--focal MM]\n"
    "\n"
    "Prints, for each file, the camera make, model and focal length, as the plug-in\n"
    "reads them from the picture's EXIF data, the lens the EXIF data names, and the\n"
    "picture's format, size, bits per channel, colour mode, alpha planes,\n"
    "resolution and ICC profile; then the lens profile --auto would use (camera,\n"
    "lens, focal length, the database's model, and the k1, k2, zoom and fit error\n"
    "derived from it: the largest displacement, in pixels of this picture, between\n"
    "the filter's model and the database's), or why there is none.\n";

const char kLenses[] =
    "Usage: ortavel lenses [--names] [TEXT]\n"
    "\n"
    "Lists the cameras and lenses of the lens database (lensfun) whose names hold\n"
    "every word of TEXT (case ignored; no TEXT lists all): cameras with their crop\n"
    "factor and mount, lenses with their crop factor, distortion model and focal\n"
    "range. The names go to --camera and --lens-model. --names prints only the\n"
    "lens names, one a line (for scripts and shell completion).\n";

const char kPreview[] =
    "Usage: ortavel preview IN -o DIR [--size WxH] [--side-by-side] [correction options]\n"
    "\n"
    "Asks the plug-in for its two previews of IN, fitted into WxH pixels (default\n"
    "512x512): DIR/NAME-uncorrected.png, the picture scaled down, and\n"
    "DIR/NAME-corrected.png, the same picture corrected with the given settings\n"
    "(including any margins). Takes the lens options of 'ortavel correct', --auto\n"
    "and --fill included, and -f/--force to replace existing previews.\n"
    "--side-by-side also writes DIR/NAME-before-after.png: the two side by side.\n";

const char kUi[] =
    "Usage: ortavel ui PHOTO [--port N] [--no-browser] [correction options]\n"
    "\n"
    "Opens a live editor for PHOTO in the web browser: the uncorrected and corrected\n"
    "previews side by side or under a split, sliders and fields for every setting,\n"
    "a grid to judge straight lines, and buttons to save the settings and to write\n"
    "the corrected photo. Every picture is made by the plug-in's preview request.\n"
    "\n"
    "The server listens on 127.0.0.1 only and answers only requests that carry the\n"
    "random token of the address it prints. It opens that address with xdg-open\n"
    "when there is a display. Ctrl-C stops it.\n"
    "\n"
    "  --port N        listen on port N (default: any free port)\n"
    "  --no-browser    only print the address\n"
    "  --threads N     processors the previews and the correction may use\n"
    "Takes the lens options of 'ortavel correct' (and --settings) as starting values,\n"
    "and --camera, --lens-model and --focal for the Auto button's lens profile,\n"
    "--aperture F for its Vignetting box.\n";

const char kAbout[] =
    "Usage: ortavel about\n"
    "\n"
    "Prints the plug-in's about text.\n";

}  // namespace

std::string helpText(Command c) {
  switch (c) {
    case Command::kCorrect: {
      std::string s = kCorrect;
      for (const auto &l : lensPresets()) {
        s += "  " + std::string(l.name) + ": " + std::string(l.description) + "\n";
      }
      return s;
    }
    case Command::kInfo:
      return kInfo;
    case Command::kPreview:
      return kPreview;
    case Command::kAbout:
      return kAbout;
    case Command::kLenses:
      return kLenses;
    case Command::kUi:
      return kUi;
    default:
      return kGeneral;
  }
}

std::string versionText() {
  return "ortavel " ORTAVEL_VERSION "\n";
}

}  // namespace ortavel::cli

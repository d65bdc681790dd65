// The host proper: the FilterRecord as a host fills it, the selector driver,
// and the small callbacks (advanceState, progress, abort).
#include "emulator/host.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "emulator/host_impl.h"
#include "emulator/large_pages.h"
#include "emulator/suites/document_info.h"

namespace hostemu {

namespace {

Host::Impl *gActive = nullptr;  // the host whose plug-in call is in progress

constexpr std::int32_t kMax16 = 32767;
constexpr int kMaxPlanes = 32;

std::int16_t cut16(std::int32_t v) {
  return static_cast<std::int16_t>(std::min(v, kMax16));
}

Fixed toFixed(double v) {
  return static_cast<Fixed>(v * 65536.0);
}

const char *selectorName(std::int16_t selector) {
  switch (selector) {
    case kSelectorAbout:
      return "about";
    case kSelectorParameters:
      return "parameters";
    case kSelectorPrepare:
      return "prepare";
    case kSelectorStart:
      return "start";
    case kSelectorContinue:
      return "continue";
    case kSelectorFinish:
      return "finish";
    default:
      return "unknown";
  }
}

Boolean abortProc() {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr) return 0;
  bool answer = impl->options.abortAfterTiles > 0 && impl->tiles >= impl->options.abortAfterTiles;
  if (!answer && impl->options.abortCallback) answer = impl->options.abortCallback();
  impl->note(LogKind::Abort,
             {{"answer", answer ? "true" : "false"}, {"tiles", std::to_string(impl->tiles)}});
  return answer ? 1 : 0;
}

void progressProc(int32 done, int32 total) {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr) return;
  impl->note(LogKind::Progress, {{"done", std::to_string(done)}, {"total", std::to_string(total)}});
  if (impl->options.progressCallback) impl->options.progressCallback(done, total);
}

OSErr advanceStateProc() {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr) {
    std::fprintf(stderr, "ortavel-host: advanceState called outside a plug-in call\n");
    return errPlugInHostInsufficient;
  }
  return impl->advanceState();
}

void validate(const Document &doc, const HostOptions &options) {
  if (doc.width <= 0 || doc.height <= 0) {
    throw std::invalid_argument("the document is empty (" + std::to_string(doc.width) + " x " +
                                std::to_string(doc.height) + "); give it a positive size");
  }
  if (doc.depth != 8 && doc.depth != 16 && doc.depth != 32) {
    throw std::invalid_argument("the document's depth is " + std::to_string(doc.depth) +
                                " bits; the host serves 8, 16 or 32 bits per sample");
  }
  if (doc.planes.empty() || doc.planes.size() > kMaxPlanes) {
    throw std::invalid_argument("the document has " + std::to_string(doc.planes.size()) +
                                " planes; the host serves 1 to 32");
  }
  for (std::size_t i = 0; i < doc.planes.size(); ++i) {
    if (doc.planes[i].samples.size() != doc.planeBytes()) {
      throw std::invalid_argument(
          "plane " + std::to_string(i) + " holds " + std::to_string(doc.planes[i].samples.size()) +
          " bytes, but width x height x bytes per sample is " + std::to_string(doc.planeBytes()));
    }
  }
  if (!options.bigDocument && (doc.width > kMax16 || doc.height > kMax16)) {
    throw std::invalid_argument(
        "a host with 16-bit coordinates only cannot present a document of " +
        std::to_string(doc.width) + " x " + std::to_string(doc.height) +
        " pixels; turn big-document support on or use a smaller document");
  }
}

}  // namespace

// --- activation -------------------------------------------------------------

Host::Impl *Host::Impl::active() {
  return gActive;
}

Host::Impl::Activation::Activation(Impl *impl) : previous_(gActive) {
  gActive = impl;
}
Host::Impl::Activation::~Activation() {
  gActive = previous_;
}

// --- Impl ---------------------------------------------------------------------

Host::Impl::Impl(Host &h, Plugin &p)
    : host(h),
      plugin(p),
      store(p.handles()),
      log(h.log_),
      options(h.options_),
      document(h.document_) {
  fillHandleProcs(handleProcs);
  fillBufferProcs(bufferProcs);
  fillReadDescriptorProcs(readProcs);
  fillWriteDescriptorProcs(writeProcs);
  SuiteEnvironment env;
  env.document = &document;
  env.newHandle = [this](std::span<const std::uint8_t> bytes) -> Handle {
    return store.createWith(bytes, "suites", true);
  };
  env.log = [this](std::string line) { note(LogKind::Suite, {{"text", std::move(line)}}); };
  suites = std::make_unique<SuiteHost>(std::move(env));
}

Host::Impl::~Impl() = default;

Document &Host::Impl::working() {
  if (!host.workingMade_) {
    host.working_ = hollowCopy(document);
    host.workingMade_ = true;
    hollow = true;
    written.clear();
    touched = 0;
    if (options.finishedRows != nullptr) {
      options.finishedRows->begin(planeStarts(host.working_));
      frontier.emplace(document.width, document.height,
                       static_cast<std::int16_t>(document.planes.size()));
    }
  }
  return host.working_;
}

bool Host::Impl::wholeWorking() {
  if (!host.workingMade_ || !hollow) return true;
  const bool whole = fillUnwritten(document, host.working_, written, copier);
  hollow = false;
  written.clear();
  return whole;
}

void Host::Impl::fillRecord() {
  // A host hands out the whole, newest record, zeroed first.
  std::memset(static_cast<void *>(&record), 0, sizeof record);
  std::memset(static_cast<void *>(&big), 0, sizeof big);
  std::memset(static_cast<void *>(&descriptorParameters), 0, sizeof descriptorParameters);
  std::memset(errorString, 0, sizeof errorString);
  in = TileGrant{};
  out = TileGrant{};
  tiles = 0;
  continueCalls = 0;

  const Document &doc = document;
  const int planes = static_cast<int>(doc.planes.size());
  const int composite = compositeChannelCount(doc.imageMode, planes);
  const int transparency = planes > composite ? 1 : 0;

  record.serialNumber = 0;
  record.abortProc = abortProc;
  record.progressProc = progressProc;
  record.parameters = parameters;
  record.imageSize = Point{cut16(doc.height), cut16(doc.width)};
  record.planes = static_cast<int16>(planes);
  record.filterRect = Rect{0, 0, cut16(doc.height), cut16(doc.width)};
  record.background =
      PSRGBColor{options.background[0], options.background[1], options.background[2]};
  record.foreground =
      PSRGBColor{options.foreground[0], options.foreground[1], options.foreground[2]};
  const auto clamp32 = [](std::int64_t v) {
    return static_cast<int32>(std::clamp<std::int64_t>(v, 0, std::numeric_limits<int32>::max()));
  };
  record.maxSpace = clamp32(options.maxSpace);
  record.bufferSpace = clamp32(options.bufferSpace);
  record.maxSpace64 = options.maxSpace;
  record.bufferSpace64 = options.bufferSpace;
  record.isFloating = 0;
  record.haveMask = 0;
  record.autoMask = 0;
  for (int i = 0; i < 3; ++i) {
    record.backColor[i] = static_cast<uint8>(options.background[i] >> 8);
    record.foreColor[i] = static_cast<uint8>(options.foreground[i] >> 8);
  }
  record.hostSig = kPhotoshopSignature;
  record.hostProc = nullptr;
  record.imageMode = doc.imageMode;
  record.imageHRes = toFixed(doc.resolutionDpi);
  record.imageVRes = toFixed(doc.resolutionDpi);
  record.floatCoord = Point{0, 0};
  record.wholeSize = record.imageSize;
  // A plain sRGB-like monitor: gamma 2.2, Rec. 709 primaries, D65 white.
  record.monitor =
      PlugInMonitor{toFixed(2.2),  toFixed(0.64), toFixed(0.33),   toFixed(0.30),  toFixed(0.60),
                    toFixed(0.15), toFixed(0.06), toFixed(0.3127), toFixed(0.329), toFixed(0.5)};
  record.platformData = &platformData;
  record.handleProcs = &handleProcs;
  record.bufferProcs = &bufferProcs;
  record.supportsDummyChannels = 0;
  record.supportsAlternateLayouts = 0;
  record.wantLayout = piLayoutTraditional;
  record.filterCase =
      transparency ? filterCaseEditableTransparencyNoSelection : filterCaseFlatImageNoSelection;
  record.dummyPlaneValue = -1;
  record.advanceState = advanceStateProc;
  record.supportsAbsolute = 0;
  record.cannotUndo = 0;
  record.supportsPadding = 1;
  record.inputPadding = plugInWantsErrorOnBoundsException;
  record.outputPadding = plugInWantsErrorOnBoundsException;
  record.maskPadding = plugInWantsErrorOnBoundsException;
  record.samplingSupport = hostDoesNotSupportSampling;
  record.inputRate = toFixed(1.0);
  record.maskRate = toFixed(1.0);
  record.inLayerPlanes = record.outLayerPlanes = record.absLayerPlanes =
      static_cast<int16>(composite);
  record.inTransparencyMask = record.outTransparencyMask = record.absTransparencyMask =
      static_cast<int16>(transparency);
  record.inNonLayerPlanes = record.outNonLayerPlanes = record.absNonLayerPlanes =
      static_cast<int16>(planes - composite - transparency);
  record.inTileWidth = options.inTileWidth;
  record.inTileHeight = options.inTileHeight;
  record.absTileWidth = options.inTileWidth;
  record.absTileHeight = options.inTileHeight;
  record.outTileWidth = options.outTileWidth;
  record.outTileHeight = options.outTileHeight;
  record.maskTileWidth = options.inTileWidth;
  record.maskTileHeight = options.inTileHeight;

  if (options.descriptorParameters) {
    descriptorParameters.descriptorParametersVersion = 0;
    descriptorParameters.recordInfo = options.recordInfo;
    descriptorParameters.readDescriptorProcs = options.descriptorReader ? &readProcs : nullptr;
    descriptorParameters.writeDescriptorProcs = options.descriptorWriter ? &writeProcs : nullptr;
    record.descriptorParameters = &descriptorParameters;
  }
  record.errorString = &errorString;
  record.channelPortProcs = suites->channelPortProcs();
  record.documentInfo = suites->documentInfo();
  record.sSPBasic = options.basicSuite ? suites->basicSuite() : nullptr;
  record.plugInRef = nullptr;
  record.depth = doc.depth;
  if (icc != nullptr) {
    record.iCCprofileData = icc;
    record.iCCprofileSize = store.size(icc);
    record.canUseICCProfiles = 1;
  }
  record.hasImageScrap = 0;
  if (options.bigDocument) {
    big.PluginUsing32BitCoordinates = 0;
    big.imageSize32 = VPoint{doc.height, doc.width};
    big.filterRect32 = VRect{0, 0, doc.height, doc.width};
    big.floatCoord32 = VPoint{0, 0};
    big.wholeSize32 = big.imageSize32;
    record.bigDocumentData = &big;
  }
  record.createNewLayer = 0;
  record.allowOverrangeColors = 0;

  if (options.legacyPropertyProcs && record.sSPBasic != nullptr) {
    // The property suite's table is the PropertyProcs layout; its tables stay
    // valid while the suite host lives, so the pointer may be kept.
    const void *table = nullptr;
    auto activeSuites = suites->activate();
    static const char kProperty[] = "Photoshop Property Suite for Plug-ins";
    if (record.sSPBasic->AcquireSuite(kProperty, 1, &table) == kSPNoError && table != nullptr) {
      record.propertyProcs = static_cast<PropertyProcs *>(const_cast<void *>(table));
      record.getPropertyObsolete = record.propertyProcs->getPropertyProc;
      record.sSPBasic->ReleaseSuite(kProperty, 1);
    }
  }
}

std::int16_t Host::Impl::call(std::int16_t selector, void *block) {
  std::int16_t result = 0;
  {
    Activation activation(this);
    // Several hosts may share a module's store; the one calling logs.
    store.observer = handleObserver;
    auto activeSuites = suites->activate();
    try {
      plugin.entry()(selector, block, &plugin.data(), &result);
    } catch (...) {
      note(LogKind::Host,
           {{"error", std::string("exception escaped PluginMain on ") + selectorName(selector)}});
      result = filterBadParameters;
    }
  }
  std::vector<std::pair<std::string, std::string>> fields = {{"selector", std::to_string(selector)},
                                                             {"name", selectorName(selector)},
                                                             {"result", std::to_string(result)}};
  if (result == errReportString && errorString[0] != 0) {
    fields.emplace_back("errorString", std::string(reinterpret_cast<const char *>(errorString + 1),
                                                   errorString[0]));
  }
  note(LogKind::Selector, std::move(fields));
  // The data word now holds the filter's data handle, kept with the module.
  // The word is the filter's to fill; by the frame's contract it is a handle.
  const auto data =
      reinterpret_cast<HostHandle>(plugin.data());  // NOLINT(performance-no-int-to-ptr)
  if (data != nullptr && store.owns(data)) store.setRole(data, "data");
  if (record.parameters != nullptr && store.owns(record.parameters)) {
    store.setRole(record.parameters, "parameters");
  }
  return result;
}

// --- Host -------------------------------------------------------------------

Host::Host(Plugin &plugin, Document &document, HostOptions options)
    : plugin_(plugin), document_(document), options_(std::move(options)) {
  validate(document_, options_);
  impl_ = std::make_unique<Impl>(*this, plugin_);
  HandleStore &store = plugin_.handles();
  store.faults = options_.handleFaults;
  store.resetFaultCounters();
  impl_->handleObserver = [this](const std::string &op, const HandleInfo &info) {
    log_.add(LogKind::Handle, {{"op", op},
                               {"id", std::to_string(info.id)},
                               {"size", std::to_string(info.size)},
                               {"locks", std::to_string(info.lockCount)},
                               {"by", info.creator},
                               {"role", info.role}});
  };
  store.observer = impl_->handleObserver;
  if (options_.parametersBlock) {
    impl_->parameters = store.createWith(*options_.parametersBlock, "host:parameters", false);
    store.setRole(impl_->parameters, "parameters");
  }
  if (!document_.icc.empty()) {
    impl_->icc = store.createWith(document_.icc, "host:icc", false);
    store.setRole(impl_->icc, "icc profile");
  }
  impl_->fillRecord();
}

Host::~Host() {
  HandleStore &store = plugin_.handles();
  if (impl_->icc != nullptr) store.dispose(impl_->icc);
  // The parameters handle goes with the invocation; the data handle stays
  // with the module.
  if (impl_->parameters != nullptr) store.dispose(impl_->parameters);
  store.observer = nullptr;
  store.faults = HandleFaults{};
}

FilterRecord *Host::filterRecord() {
  return &impl_->record;
}
const Document &Host::workingDocument() {
  if (!workingMade_) return document_;
  impl_->wholeWorking();
  return working_;
}

SuiteHost &Host::suites() {
  return *impl_->suites;
}
HostHandle Host::parametersHandle() const {
  return impl_->parameters;
}

std::int16_t Host::about() {
  AboutRecord about;
  std::memset(static_cast<void *>(&about), 0, sizeof about);
  about.platformData = &impl_->platformData;
  about.sSPBasic = options_.basicSuite ? impl_->suites->basicSuite() : nullptr;
  return impl_->call(kSelectorAbout, &about);
}

std::int16_t Host::callSelector(std::int16_t selector) {
  Impl &m = *impl_;
  if (selector == kSelectorAbout) return about();
  if (selector == kSelectorContinue) {
    // The host serves what the filter asked for, then lets it work on it.
    ++m.continueCalls;
    const std::int16_t served = m.handOut();
    if (served != noErr) return served;
  }
  const std::int16_t result = m.call(selector, &m.record);
  if (selector == kSelectorStart || selector == kSelectorContinue) m.writeBack();
  if (m.record.parameters != nullptr) m.parameters = m.record.parameters;
  return result;
}

RunResult Host::runFilter(const Descriptor *descriptorIn, bool withParameters) {
  Impl &m = *impl_;
  HandleStore &store = plugin_.handles();
  workingMade_ = false;
  m.frontier.reset();
  // Whoever reads the rows told final must let go of them before the working
  // copy can go, whichever way this call ends; a commit tells them instead
  // that every row is final.
  struct Untell {
    FinishedRows *rows;
    ~Untell() {
      if (rows != nullptr) rows->withdraw();
    }
  } untell{options_.finishedRows};
  m.fillRecord();
  log_.add(LogKind::Host, {{"op", "invocation"},
                           {"width", std::to_string(document_.width)},
                           {"height", std::to_string(document_.height)},
                           {"planes", std::to_string(document_.planes.size())},
                           {"depth", std::to_string(document_.depth)}});

  if (m.record.descriptorParameters != nullptr) {
    m.descriptorParameters.playInfo = options_.playInfo.value_or(
        descriptorIn != nullptr ? plugInDialogSilent : plugInDialogDisplay);
    if (descriptorIn != nullptr) {
      m.descriptorParameters.descriptor =
          store.createWith(descriptorIn->serialize(), "host:descriptor", false);
      store.setRole(m.descriptorParameters.descriptor, "descriptor in");
    }
  }

  RunResult r;
  auto step = [&](std::int16_t selector) {
    const std::int16_t result = callSelector(selector);
    r.calls.push_back({selector, result});
    if (result != 0 && r.result == 0) {
      r.result = result;
      r.failedSelector = selector;
    }
    return result;
  };

  bool started = false;
  if (!withParameters || step(kSelectorParameters) == 0) {
    if (step(kSelectorPrepare) == 0) {
      started = true;
      if (step(kSelectorStart) == 0) {
        while (m.wantsMore()) {
          if (m.continueCalls >= options_.continueLimit) {
            r.continueLimitReached = true;
            log_.add(LogKind::Host, {{"error", "continue limit reached"},
                                     {"calls", std::to_string(m.continueCalls)}});
            break;
          }
          if (step(kSelectorContinue) != 0) break;
        }
      }
    }
  }
  if (started && (r.result == 0 || options_.finishAfterError)) step(kSelectorFinish);
  r.continueCalls = m.continueCalls;
  r.tiles = m.tiles;

  if (m.record.descriptorParameters != nullptr) {
    r.playInfo = m.descriptorParameters.playInfo;
    r.recordInfo = m.descriptorParameters.recordInfo;
    HostHandle outHandle = m.descriptorParameters.descriptor;
    if (outHandle != nullptr) {
      if (store.owns(outHandle)) {
        try {
          r.descriptorOut = Descriptor::deserialize(store.bytes(outHandle));
        } catch (const std::exception &e) {
          log_.add(LogKind::Host,
                   {{"error", std::string("descriptor left by the filter: ") + e.what()}});
        }
        // The host takes the recorded descriptor over.
        store.dispose(outHandle);
      } else {
        log_.add(LogKind::Host, {{"error",
                                  "descriptor handle left by the filter is not a "
                                  "live host handle"}});
      }
      m.descriptorParameters.descriptor = nullptr;
    }
  }
  dropDescriptorSessions(m);
  if (!m.buffers.empty()) {
    log_.add(LogKind::Host,
             {{"error", "buffers not freed"}, {"count", std::to_string(m.buffers.size())}});
    m.buffers.clear();
  }

  // The document's reader stopped short: what the filter made of the rows it
  // never wrote must not replace the document.
  if (!m.wholeWorking() && r.result == 0) r.result = readErr;
  if (r.result == 0 && !r.continueLimitReached) {
    // Without a working copy the filter wrote nothing: the document stands.
    if (workingMade_) std::swap(document_.planes, working_.planes);
    working_.planes.clear();
    workingMade_ = false;
    r.documentChanged = true;
    if (options_.finishedRows != nullptr) options_.finishedRows->complete(planeStarts(document_));
  }
  log_.add(LogKind::Host, {{"op", "invocation-end"},
                           {"result", std::to_string(r.result)},
                           {"tiles", std::to_string(r.tiles)},
                           {"committed", r.documentChanged ? "yes" : "no"},
                           {"handlesAlive", std::to_string(store.aliveCount())},
                           {"suitesOutstanding", std::to_string(m.suites->outstanding())}});
  return r;
}

std::vector<HandleInfo> Host::leaks() const {
  std::vector<HandleInfo> out;
  const std::intptr_t data = plugin_.data();
  for (const auto &h : plugin_.handles().alive()) {
    if (reinterpret_cast<std::intptr_t>(h.handle) == data || h.handle == impl_->parameters ||
        h.handle == impl_->icc)
      continue;
    out.push_back(h);
  }
  return out;
}

}  // namespace hostemu

#include "emulator/automation/automation_host.h"

#include <utility>

#include "emulator/alert.h"
#include "emulator/automation/action_suites.h"
#include "emulator/fourcc.h"
#include "emulator/suites/suite_host.h"

namespace hostemu {

namespace {

// Image mode number -> colour-space enumeration of the document's mode.
std::uint32_t modeEnumeration(std::int16_t mode) {
  static constexpr std::uint32_t kModes[] = {
      enumBitmap,   enumGrayscale, enumIndexedColor, enumRGBColor, enumCMYKColor,
      enumHSLColor, enumHSBColor,  enumMultichannel, enumDuotone,  enumLabColor,
      enumGray16,   enumRGB48,     enumLab48,        enumCMYK64};
  if (mode < 0 || mode >= static_cast<std::int16_t>(std::size(kModes))) return enumMultichannel;
  return kModes[mode];
}

constexpr std::uint32_t kTypeClassMode = fourCC("#ClM");

ActionValue unitFloat(std::uint32_t unit, double v) {
  ActionValue a;
  a.type = typeUnitFloat;
  a.unit = unit;
  a.number = v;
  return a;
}
ActionValue integer(std::int64_t v) {
  ActionValue a;
  a.type = typeInteger;
  a.integer = v;
  return a;
}

}  // namespace

struct AutomationHost::Impl {
  Impl(AutomationHost &host)
      : self(host),
        suites(SuiteEnvironment{&host.document_,
                                [this](std::span<const std::uint8_t> bytes) -> Handle {
                                  return self.automation_.handles().createWith(bytes, "suites");
                                },
                                [this](std::string line) {
                                  self.log_.add(LogKind::Suite, {{"text", std::move(line)}});
                                }}),
        actions(makeEnvironment()) {}

  ActionEnvironment makeEnvironment() {
    ActionEnvironment env;
    env.log = [this](std::string line) {
      self.log_.add(LogKind::Suite, {{"text", std::move(line)}});
    };
    env.handles = &self.automation_.handles();
    env.play = [this](std::uint32_t event, const ActionDescriptor *in, std::int32_t options,
                      std::optional<ActionDescriptor> &out) {
      return play(event, in, options, out);
    };
    env.get = [this](const ActionReference &ref, ActionDescriptor &out) { return get(ref, out); };
    env.mainWindow = self.options_.mainWindow;
    // A filter's scope string stands for its event, as a host that loaded it
    // registers it.
    for (Plugin *filter : self.filters_) {
      if (filter->pipl() != nullptr && filter->pipl()->terminology &&
          !filter->pipl()->terminology->scope.empty()) {
        env.stringIds[filter->pipl()->terminology->scope] = filter->pipl()->terminology->eventId;
      }
    }
    return env;
  }

  Plugin *filterFor(std::uint32_t event) const {
    for (Plugin *filter : self.filters_) {
      const Pipl *pipl = filter->pipl();
      if (pipl != nullptr && pipl->terminology && pipl->terminology->eventId == event) {
        return filter;
      }
    }
    return nullptr;
  }

  OSErr play(std::uint32_t event, const ActionDescriptor *in, std::int32_t options,
             std::optional<ActionDescriptor> &out) {
    Plugin *filter = filterFor(event);
    if (filter == nullptr) {
      self.log_.add(LogKind::Host,
                    {{"error", "no plug-in answers the event " + fourCCText(event)}});
      return paramErr;
    }
    PlayRecord record;
    record.event = event;
    record.options = options;
    if (in != nullptr) {
      std::string why;
      record.descriptorIn = toFilterDescriptor(*in, &why);
      if (!record.descriptorIn) {
        self.log_.add(LogKind::Host, {{"error", why}});
        return paramErr;
      }
    }
    HostOptions hostOptions = self.options_.filterOptions;
    hostOptions.playInfo = static_cast<std::int16_t>(options);
    hostOptions.alertCallback = self.options_.alertCallback;
    Host host(*filter, self.document_, hostOptions);
    // The filter's calls go into this host's log as they happen.
    host.log().setListener([this](const LogEntry &e) {
      auto fields = e.fields;
      fields.insert(fields.begin(), {"by", "filter"});
      self.log_.add(e.kind, std::move(fields));
    });
    record.run = host.runFilter(record.descriptorIn ? &*record.descriptorIn : nullptr,
                                options == plugInDialogDisplay);
    if (record.run.descriptorOut) out = fromFilterDescriptor(*record.run.descriptorOut);
    if (record.run.documentChanged) documentChanged = true;
    const OSErr result = record.run.result;
    plays.push_back(std::move(record));
    return result;
  }

  OSErr get(const ActionReference &ref, ActionDescriptor &out) const {
    if (ref.parts.empty()) return paramErr;
    std::size_t at = 0;
    std::optional<std::uint32_t> property;
    if (ref.parts[0].form == formProperty) {
      property = ref.parts[0].property;
      at = 1;
    }
    // A lone property means the target document's.
    const ActionReferencePart target = [&] {
      if (at < ref.parts.size()) return ref.parts[at];
      ActionReferencePart p;
      p.desiredClass = classDocument;
      p.form = formEnumerated;
      p.enumValue = enumTarget;
      return p;
    }();
    ActionDescriptor all;
    const Document &doc = self.document_;
    const bool open = self.options_.documentOpen;
    if (target.desiredClass == classApplication) {
      all.put(keyNumberOfDocuments, integer(open ? 1 : 0));
    } else if (target.desiredClass == classDocument) {
      const bool designated =
          (target.form == formEnumerated && target.enumValue == enumTarget) ||
          ((target.form == formIndex || target.form == formIdentifier) && target.index == 1);
      if (!open || !designated) return paramErr;
      all.put(keyWidth, unitFloat(unitPixels, doc.width));
      all.put(keyHeight, unitFloat(unitPixels, doc.height));
      all.put(keyResolution, unitFloat(unitDensity, doc.resolutionDpi));
      ActionValue mode;
      mode.type = typeEnumerated;
      mode.enumType = kTypeClassMode;
      mode.code = modeEnumeration(doc.imageMode);
      all.put(keyMode, mode);
      all.put(keyDepth, integer(doc.depth));
      all.put(keyNumberOfChannels, integer(static_cast<std::int64_t>(doc.planes.size())));
      all.put(keyNumberOfLayers, integer(0));
      ActionValue title;
      title.type = typeChar;
      title.bytes = self.options_.title;
      all.put(keyTitle, title);
      all.put(keyDocumentID, integer(1));
    } else {
      return paramErr;
    }
    if (!property) {
      out = std::move(all);
      return noErr;
    }
    const ActionValue *v = all.find(*property);
    if (v == nullptr) return paramErr;
    out.put(*property, *v);
    return noErr;
  }

  std::int32_t call(const char *caller, const char *selector, void *message) {
    auto suitesOn = suites.activate();
    auto actionsOn = actions.activate();
    AlertSinkGuard alerts([this](const std::string &title, const std::string &text) {
      self.log_.add(LogKind::Alert, {{"title", title}, {"text", text}});
      if (self.options_.alertCallback) self.options_.alertCallback(title, text);
    });
    const std::int32_t result = self.automation_.automationEntry()(caller, selector, message);
    self.log_.add(LogKind::Selector,
                  {{"caller", caller}, {"selector", selector}, {"result", std::to_string(result)}});
    return result;
  }

  SPMessageData message() {
    SPMessageData m{};
    m.SPCheck = static_cast<int32>(kSPValidSPMessageData);
    m.self = reinterpret_cast<SPPluginRef>(&self);
    m.globals = globals;
    m.basic = suites.basicSuite();
    return m;
  }

  AutomationHost &self;
  SuiteHost suites;
  ActionSuites actions;
  void *globals = nullptr;
  bool started = false;
  bool documentChanged = false;
  std::vector<PlayRecord> plays;
};

AutomationHost::AutomationHost(Plugin &automation, std::vector<Plugin *> filters,
                               Document &document, AutomationOptions options)
    : automation_(automation),
      filters_(std::move(filters)),
      document_(document),
      options_(std::move(options)) {
  if (automation.kind() != ModuleKind::Automation || automation.automationEntry() == nullptr) {
    throw std::invalid_argument("the module " + automation.path().string() +
                                " was not loaded as an automation plug-in");
  }
  impl_ = std::make_unique<Impl>(*this);
}

AutomationHost::~AutomationHost() {
  stop();
}

std::int32_t AutomationHost::send(const char *caller, const char *selector) {
  SPMessageData m = impl_->message();
  const std::int32_t result = impl_->call(caller, selector, &m);
  impl_->globals = m.globals;
  return result;
}

std::int32_t AutomationHost::start() {
  if (impl_->started) return 0;
  impl_->started = true;
  const std::int32_t reload = send(kSPAccessCaller, kSPAccessReloadSelector);
  const std::int32_t startup = send(kSPInterfaceCaller, kSPInterfaceStartupSelector);
  return reload != 0 ? reload : startup;
}

std::int32_t AutomationHost::stop() {
  if (!impl_ || !impl_->started) return 0;
  impl_->started = false;
  const std::int32_t shutdown = send(kSPInterfaceCaller, kSPInterfaceShutdownSelector);
  const std::int32_t unload = send(kSPAccessCaller, kSPAccessUnloadSelector);
  return shutdown != 0 ? shutdown : unload;
}

std::int32_t AutomationHost::about() {
  return send(kSPInterfaceCaller, kSPInterfaceAboutSelector);
}

DoItResult AutomationHost::doIt(const ActionDescriptor *descriptor) {
  DoItResult r;
  Impl &m = *impl_;
  m.plays.clear();
  m.documentChanged = false;
  const std::size_t liveBefore = m.actions.liveObjects();
  PIActionParameters parameters{};
  parameters.playInfo = options_.playInfo;
  parameters.recordInfo = plugInDialogOptional;
  parameters.descriptor = descriptor != nullptr ? m.actions.adopt(*descriptor) : nullptr;
  PSActionsPlugInMessage message{};
  message.d = m.message();
  message.actionParameters = &parameters;
  r.result = m.call(kPSPhotoshopCaller, kPSDoIt, &message);
  m.globals = message.d.globals;
  r.recordInfo = parameters.recordInfo;
  if (parameters.descriptor != nullptr) {
    if (const ActionDescriptor *left = m.actions.descriptor(parameters.descriptor)) {
      r.descriptor = *left;
      r.descriptorForFile = toFilterDescriptor(*left);
      m.actions.release(parameters.descriptor);
    } else {
      log_.add(LogKind::Host,
               {{"error", "actionParameters->descriptor is not a live descriptor after Do It"}});
    }
  }
  if (r.result != 0) {
    // Nothing is recorded for a failed or cancelled step.
    r.descriptor.reset();
    r.descriptorForFile.reset();
  }
  r.plays = std::move(m.plays);
  r.documentChanged = m.documentChanged;
  const std::size_t liveAfter = m.actions.liveObjects();
  r.leakedObjects = liveAfter > liveBefore ? liveAfter - liveBefore : 0;
  if (r.leakedObjects > 0) {
    log_.add(LogKind::Host, {{"leaked action objects", std::to_string(r.leakedObjects)}});
  }
  return r;
}

}  // namespace hostemu

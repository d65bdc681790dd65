// What kind of host to emulate for one Host object, and the faults to inject.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "emulator/finished_rows.h"
#include "emulator/handles.h"

namespace hostemu {

struct HostOptions {
  // Tile sizes reported in inTileWidth/Height and outTileWidth/Height, in
  // pixels (16-bit fields). 0 is allowed, to test how a filter refuses it.
  std::int16_t inTileWidth = 512;
  std::int16_t inTileHeight = 512;
  std::int16_t outTileWidth = 512;
  std::int16_t outTileHeight = 512;

  // false: a host with 16-bit coordinates only (bigDocumentData null); such a
  // host refuses documents wider or taller than 32767 pixels.
  bool bigDocument = true;
  // false: sSPBasic is null (AboutRecord and FilterRecord alike).
  bool basicSuite = true;
  // false: descriptorParameters is null altogether.
  bool descriptorParameters = true;
  // false: readDescriptorProcs / writeDescriptorProcs null.
  bool descriptorReader = true;
  bool descriptorWriter = true;
  // Puts the property suite's table into the legacy propertyProcs field (it is
  // acquired from the basic suite for that, and released at once).
  bool legacyPropertyProcs = false;

  // descriptorParameters.playInfo: 0 dialog if needed, 1 show dialog, 2 silent.
  // Unset: 1 when no descriptor goes in (a menu invocation), 2 when one does.
  std::optional<std::int16_t> playInfo;
  std::int16_t recordInfo = 0;  // 0 optional, 1 required, 2 none

  // Extra bytes at the end of every row of inData/outData.
  std::int32_t rowPadding = 0;
  // abortProc answers true once this many output tiles have been handed out;
  // 0 = never (unless abortCallback says so).
  int abortAfterTiles = 0;
  // The most continue calls the host makes before giving up on a filter that
  // never empties its rectangles.
  int continueLimit = 100000;
  // Call finish even when start or continue failed.
  bool finishAfterError = true;

  // Reported space, in bytes (maxSpace, bufferSpace and their 64-bit twins).
  std::int64_t maxSpace = 1LL << 30;
  std::int64_t bufferSpace = 1LL << 30;
  // RGB 16-bit colours (PSRGBColor) and their FilterColor bytes.
  std::uint16_t background[3] = {65535, 65535, 65535};
  std::uint16_t foreground[3] = {0, 0, 0};

  HandleFaults handleFaults;
  // Status to answer for any get of the value under a key (e.g. -1715).
  std::map<std::uint32_t, std::int16_t> descriptorReadFailures;

  // The parameters handle for the first invocation: null (the filter makes
  // one) unless bytes are given here. Later runFilter calls on the same Host
  // hand back the handle of the previous one.
  std::optional<std::vector<std::uint8_t>> parametersBlock;

  // Called by progressProc, by abortProc (true = abort), and for every alert.
  std::function<void(std::int32_t done, std::int32_t total)> progressCallback;
  std::function<bool()> abortCallback;
  std::function<void(const std::string &title, const std::string &text)> alertCallback;

  // Told which rows of the output are final as the filter writes them back,
  // and, at the end, that the run committed (or not). Not owned; may be null.
  FinishedRows *finishedRows = nullptr;
};

}  // namespace hostemu

// The host log's structured entries and their printable form.
#include <gtest/gtest.h>

#include "emulator/log.h"

namespace {

using hostemu::Log;
using hostemu::LogKind;

TEST(Log, KeepsFieldsInOrderAndPrintsOneLinePerEntry) {
  Log log;
  int heard = 0;
  log.setListener([&heard](const hostemu::LogEntry &) { ++heard; });
  log.add(LogKind::Selector, {{"selector", "3"}, {"name", "start"}, {"result", "0"}});
  log.add(LogKind::Alert, {{"title", "Ortavel Filter"}, {"text", "line one\nline \"two\""}});
  log.add(LogKind::Handle, {{"op", "new"}, {"role", ""}});
  EXPECT_EQ(heard, 3);
  EXPECT_EQ(log.count(LogKind::Alert), 1u);
  EXPECT_EQ(log.ofKind(LogKind::Selector)[0].field("name"), "start");
  EXPECT_EQ(log.entries()[0].field("missing"), "");
  EXPECT_FALSE(log.entries()[0].has("missing"));
  EXPECT_EQ(log.print(),
            "selector: selector=3 name=start result=0\n"
            "alert: title=\"Ortavel Filter\" text=\"line one\\nline \\\"two\\\"\"\n"
            "handle: op=new role=\"\"\n");
  log.clear();
  EXPECT_TRUE(log.entries().empty());
}

}  // namespace

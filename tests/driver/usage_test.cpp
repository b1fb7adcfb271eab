// What the driver does with its arguments before anything is measured.

#include "driver/driver_process.h"
#include "support/graph_text.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

TEST(DriverUsage, OptionsThatCannotBeUsedAreRefusedWithWhatWasExpected) {
  const TempDirectory directory;
  const std::string model = directory / "model.json";
  WriteFile(model, SpinGraph({1000}));
  // Options after "offline" and before the model.
  const std::pair<std::vector<std::string>, std::string> table[] = {
      {{"--wibble"}, "not expected: --wibble"},
      {{"--loop", "0"}, "--loop: '0' is not a positive 32-bit integer"},
      {{"--loop", "4294967296"}, "--loop: '4294967296' is not a positive 32-bit integer"},
      {{"--loop", "2", "--loop", "3"}, "--loop: "},
      {{"--bound", "5"}, "--bound: '5' is not a time such as 500us"},
      {{"--bound", "0ns"}, "--bound: '0ns' is not between"},
      {{"--devices", "0,,1"}, "--devices: '0,,1' is not a list of device ids"},
      {{"--mode", "fast"}, "--mode: 'fast' is not default, previous-memory or no-check"},
      {{"--mode", "no-check", "--from-file"}, "excludes"},
      {{"--prof", "--wall"}, "excludes"},
      {{"--dynamic-batch", "8,8"}, "--dynamic-batch: '8,8' is not a positive integer"},
      {{"--dynamic-image", "8"}, "--dynamic-image: '8' is not 2 positive integers"},
      {{"--dynamic-dims", "8,x"}, "--dynamic-dims: '8,x' is not 1 to 128 positive integers"},
      {{"--dynamic-batch", "8", "--dynamic-dims", "8"}, "excludes"},
      {{"--input", "/no/such/file:2x2"}, "File does not exist: /no/such/file"},
      {{"--output", "out.bin"}, "--output: 'out.bin' is not FILE:BYTES"},
      {{"--output", "out.bin:4", model}, "--output: needs a single MODEL"},
      {{"--trace", "/no/such/directory"}, "Directory does not exist: /no/such/directory"},
      {{"--format", "xml"}, "--format: 'xml' is not table, json or csv"},
      {{"/no/such/model"}, "File does not exist: /no/such/model"},
  };
  for (const auto& [options, complaint] : table) {
    SCOPED_TRACE(PrintToString(options));
    std::vector<std::string> arguments = {"offline"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.push_back(model);
    const DriverRun run = RunDriver(arguments);
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.output, IsEmpty());
    EXPECT_THAT(run.errors, HasSubstr(complaint));
  }
}

TEST(DriverUsage, ACommandIsNeededButForHelpAndVersion) {
  EXPECT_EQ(RunDriver({}).exitStatus, 2);
  EXPECT_EQ(RunDriver({"offline"}).exitStatus, 2);
  EXPECT_EQ(RunDriver({"measure"}).exitStatus, 2);
  const DriverRun help = RunDriver({"offline", "--help"});
  EXPECT_EQ(help.exitStatus, 0);
  EXPECT_THAT(help.output, HasSubstr("Exit status:"));
  const DriverRun version = RunDriver({"--version"});
  EXPECT_EQ(version.exitStatus, 0);
  EXPECT_THAT(version.output, MatchesRegex("ormo-measure [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(DriverUsage, SocPrintsTheChipsName) {
  const DriverRun device = RunDriver({"soc"}, {"ORMO_HOST_SOC=TarnPond1"});
  EXPECT_EQ(device.exitStatus, 0);
  EXPECT_EQ(device.output, "TarnPond1\n");
  EXPECT_EQ(RunDriver({"soc"}, {"PELT_SOC_VERSION=TarnFen1"}).output, "TarnFen1\n");
  const DriverRun unknown = RunDriver({"soc"}, {"PELT_SOC_VERSION="});
  EXPECT_EQ(unknown.exitStatus, 1);
  EXPECT_EQ(unknown.errors, "ormo-measure: the chip's name is not known\n");
}

}  // namespace
}  // namespace Ormo::Testing

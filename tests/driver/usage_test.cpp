// What the driver does with its arguments before anything is measured.

#include "driver/driver_process.h"

namespace Ormo::Testing {
namespace {

using DriverUsage = DriverTest;

TEST_F(DriverUsage, OptionsThatCannotBeUsedAreRefusedWithWhatWasExpected) {
  const std::string model = File("model.json", SpinGraph({1000}));
  // A command, and options before the model.
  const std::pair<std::vector<std::string>, std::string> table[] = {
      {{"offline", "--wibble"}, "not expected: --wibble"},
      {{"offline", "--loop", "0"}, "--loop: '0' is not a positive 32-bit integer"},
      {{"offline", "--loop", "4294967296"},
       "--loop: '4294967296' is not a positive 32-bit integer"},
      {{"offline", "--loop", "2", "--loop", "3"}, "--loop: "},
      {{"offline", "--bound", "5"}, "--bound: '5' is not a time such as 500us"},
      {{"offline", "--bound", "0ns"}, "--bound: '0ns' is not between"},
      {{"offline", "--devices", "0,,1"}, "--devices: '0,,1' is not a list of device ids"},
      {{"offline", "--mode", "fast"}, "--mode: 'fast' is not default, previous-memory or no-check"},
      {{"offline", "--mode", "no-check", "--from-file"}, "excludes"},
      {{"offline", "--prof", "--wall"}, "excludes"},
      {{"offline", "--dynamic-batch", "8,8"}, "--dynamic-batch: '8,8' is not a positive integer"},
      {{"offline", "--dynamic-image", "8"}, "--dynamic-image: '8' is not 2 positive integers"},
      {{"offline", "--dynamic-dims", "8,x"},
       "--dynamic-dims: '8,x' is not 1 to 128 positive integers"},
      {{"offline", "--dynamic-batch", "8", "--dynamic-dims", "8"}, "excludes"},
      {{"offline", "--input", "/no/such/file:2x2"}, "File does not exist: /no/such/file"},
      {{"offline", "--output", "out.bin:0"}, "--output: 'out.bin:0' is not FILE or FILE:BYTES"},
      {{"offline", "--output", "out.bin:4", model}, "--output: needs a single MODEL"},
      {{"offline", "--trace", "/no/such/directory"},
       "Directory does not exist: /no/such/directory"},
      {{"offline", "--format", "xml"}, "--format: 'xml' is not table, json or csv"},
      {{"offline", "/no/such/model"}, "File does not exist: /no/such/model"},
      {{"online", "--option", "key"}, "--option: 'key' is not KEY=VALUE"},
      {{"online", "--option", "=value"}, "is not KEY=VALUE"},
      {{"online", "--save", directory_.Path()}, "--save requires --check"},
      {{"online", "--check", "--save", "/no/such/directory"}, "Directory does not exist"},
      {{"online", "--depend", "/no/such/file"}, "File does not exist"},
      {{"online", "--wall"}, "not expected: --wall"},
  };
  for (const auto& [options, complaint] : table) {
    SCOPED_TRACE(PrintToString(options));
    std::vector<std::string> arguments = options;
    arguments.push_back(model);
    const DriverRun run = RunDriver(arguments);
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.output, IsEmpty());
    EXPECT_THAT(run.errors, HasSubstr(complaint));
  }
}

TEST_F(DriverUsage, ACommandIsNeededButForHelpAndVersion) {
  for (const std::vector<std::string>& lacking :
       {std::vector<std::string>{}, {"offline"}, {"sim"}, {"measure"}}) {
    EXPECT_EQ(RunDriver(lacking).exitStatus, 2);
  }
  const DriverRun help = RunDriver({"offline", "--help"});
  EXPECT_EQ(help.exitStatus, 0);
  EXPECT_THAT(help.output, HasSubstr("Exit status:"));
  const DriverRun version = RunDriver({"--version"});
  EXPECT_EQ(version.exitStatus, 0);
  EXPECT_THAT(version.output, MatchesRegex("ormo-measure [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(DriverUsage, SocPrintsTheChipsName) {
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

#include "command_line.h"

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "option_values.h"

namespace OrmoMeasure {
namespace {

constexpr char DESCRIPTION[] =
    "Measures how fast candidate builds of models run on accelerator devices.";

constexpr char OFFLINE_FOOTER[] =
    "Each MODEL is a candidate: it is loaded on one of the devices, executed and unloaded. The\n"
    "report shows what one execution costs, and what each operator contributes.\n\n"
    "Exit status:\n"
    "  0  every candidate was measured; one that does not fit into device memory is skipped and\n"
    "     one that reaches --bound is stopped, neither is a failure\n"
    "  1  a candidate failed\n"
    "  2  the arguments cannot be used\n\n"
    "Examples:\n"
    "  ormo-measure offline build-a.json build-b.json build-c.json\n"
    "  ormo-measure offline --devices 0,1 --loop 50 --bound 20ms --format json candidates/*\n"
    "  ormo-measure offline --input x.bin --output y.bin model.json\n";

constexpr char ONLINE_FOOTER[] =
    "Each GRAPH is a candidate: it is added to a session of the graph engine and executed there "
    "under\n"
    "profiling, after the graphs that it depends on. The report shows what each execution cost, "
    "and\n"
    "what each operator contributed.\n\n"
    "Exit status:\n"
    "  0  every candidate was measured, or checked; one that reaches --bound is stopped, which is\n"
    "     no failure\n"
    "  1  a candidate failed\n"
    "  2  the arguments cannot be used\n\n"
    "Examples:\n"
    "  ormo-measure online build-a.json build-b.json build-c.json\n"
    "  ormo-measure online --depend prepare.json --option ox.buildMode=normal --loop 50 "
    "graph.json\n"
    "  ormo-measure online --check --save outputs graph.json\n";

constexpr char OP_FOOTER[] =
    "Each REQUEST is a candidate: a JSON text with an operator's type, its tensors and its\n"
    "attributes. Tensors hold zeros.\n\n"
    "Exit status:\n"
    "  0  every candidate was measured\n"
    "  1  a candidate failed\n"
    "  2  the arguments cannot be used\n\n"
    "Examples:\n"
    "  ormo-measure op small.json medium.json large.json\n"
    "  ormo-measure op --devices 0,1 --loop 50 --format json requests/*\n";

constexpr char SIM_FOOTER[] =
    "Each GRAPH is a candidate: the simulator says how many ticks each of its kernels takes. No\n"
    "device is needed.\n\n"
    "Environment:\n"
    "  PELTV2            directory of the simulator (default: the one that comes with the "
    "library)\n"
    "  PELT_SOC_VERSION  chip to simulate (default: TarnLake1)\n\n"
    "Exit status:\n"
    "  0  every candidate was simulated\n"
    "  1  a candidate failed\n"
    "  2  the arguments cannot be used\n";

using Parse = std::function<void(const std::string&)>;

// Adds an option that may be repeated; `parse` gets every text and throws std::invalid_argument.
CLI::Option* AddRepeated(CLI::App& app, const std::string& name, const std::string& valueName,
                         const Parse& parse, const std::string& description) {
  auto parseAll = [name, parse](const std::vector<std::string>& texts) {
    try {
      for (const std::string& text : texts) {
        parse(text);
      }
    } catch (const std::invalid_argument& e) {
      throw CLI::ValidationError(name, e.what());
    }
  };
  return app.add_option_function<std::vector<std::string>>(name, parseAll, description)
      ->allow_extra_args(false)
      ->type_name(valueName);
}

CLI::Option* AddOnce(CLI::App& app, const std::string& name, const std::string& valueName,
                     const Parse& parse, const std::string& description) {
  return AddRepeated(app, name, valueName, parse, description)->expected(1);
}

constexpr char MEASURING_GROUP[] = "Measuring";

// What all paths on devices have in common.
template <typename Options>
void AddDeviceOptions(CLI::App& app, Options& options) {
  AddOnce(
      app, "--loop", "COUNT",
      [&options](const std::string& text) { options.loop = ParseCount(text); },
      "Executions of each candidate (default " + std::to_string(options.loop) + ")")
      ->group(MEASURING_GROUP);
  AddOnce(
      app, "--devices", "IDS",
      [&options](const std::string& text) { options.devices = ParseDevices(text); },
      "Devices to measure on, such as 0,1 (default 0)")
      ->group(MEASURING_GROUP);
}

template <typename Options>
void AddBoundOption(CLI::App& app, Options& options) {
  AddOnce(
      app, "--bound", "TIME",
      [&options](const std::string& text) { options.runTimeBound = ParseDuration(text); },
      "Stop a candidate at the first execution that takes this long, such as 500us, 5ms, 2s")
      ->group(MEASURING_GROUP);
}

void AddMeasuringOptions(CLI::App& app, OfflineOptions& options) {
  AddDeviceOptions(app, options);
  AddBoundOption(app, options);
  CLI::Option* prof = app.add_flag_callback(
      "--prof", [&options] { options.prof = true; },
      "Figures from the platform's profiling records, with those of each operator (default)");
  CLI::Option* wall = app.add_flag_callback(
      "--wall", [&options] { options.prof = false; },
      "Figures by wall clock around each execution, no operators");
  prof->group(MEASURING_GROUP);
  wall->excludes(prof)->group(MEASURING_GROUP);
  app.add_option("--key", options.buildRunKey, "Name of this build in log lines and the trace")
      ->type_name("TEXT")
      ->group(MEASURING_GROUP);
}

void AddLoadingOptions(CLI::App& app, OfflineOptions& options) {
  constexpr char GROUP[] = "Loading";
  CLI::Option* fromFile = app.add_flag("--from-file", options.fromFile,
                                       "Let the platform read the file itself; memory is not "
                                       "checked before the load");
  fromFile->group(GROUP);
  AddOnce(
      app, "--mode", "MODE",
      [&options](const std::string& text) { options.runMode = ParseRunMode(text); },
      "default: check device memory first; previous-memory: small models into memory of the\n"
      "library; no-check: load at once")
      ->excludes(fromFile)
      ->group(GROUP);
}

void AddDynamicOption(CLI::App& app, OfflineOptions& options, const std::string& name,
                      const std::string& valueName, const std::string& type,
                      std::pair<size_t, size_t> counts, const std::string& description) {
  auto parse = [&options, type, counts](const std::string& text) {
    CheckSizes(text, counts.first, counts.second);
    options.dynamicType = type;
    options.dynamicParam = text;
  };
  AddOnce(app, name, valueName, parse, description)->group("Dynamic models");
}

void AddDynamicOptions(CLI::App& app, OfflineOptions& options) {
  constexpr size_t MAX_DIMS = 128;
  AddDynamicOption(app, options, "--dynamic-batch", "SIZE", "dynamic_batch_size", {1, 1},
                   "Batch size of every execution");
  AddDynamicOption(app, options, "--dynamic-image", "H,W", "dynamic_image_size", {2, 2},
                   "Height and width of every execution");
  AddDynamicOption(app, options, "--dynamic-dims", "DIMS", "dynamic_dims", {1, MAX_DIMS},
                   "Dimensions of every execution, such as 8,128");
  CLI::Option* batch = app.get_option("--dynamic-batch");
  CLI::Option* image = app.get_option("--dynamic-image");
  CLI::Option* dims = app.get_option("--dynamic-dims");
  batch->excludes(image)->excludes(dims);
  image->excludes(dims);
}

void AddDataOptions(CLI::App& app, OfflineOptions& options) {
  constexpr char GROUP[] = "Data";
  auto addInput = [&options](const std::string& text) {
    options.inputs.push_back(ParseInput(text));
    const std::string problem = CLI::ExistingFile(options.inputs.back().path);
    if (!problem.empty()) {
      throw std::invalid_argument(problem);
    }
  };
  AddRepeated(
      app, "--input", "FILE[:SHAPE]", addInput,
      "Content of an input, with a shape such as 8x784 when the model leaves it open; once for\n"
      "each input of the model, in its order (default: zeros)")
      ->group(GROUP);
  AddRepeated(
      app, "--output", "FILE[:BYTES]",
      [&options](const std::string& text) { options.outputs.push_back(ParseOutput(text)); },
      "Where an output goes, and its size when the model leaves it open; once for each output of\n"
      "the single MODEL, in its order")
      ->group(GROUP);
}

constexpr char REPORT_GROUP[] = "Report";

void AddFormatOption(CLI::App& app, ReportFormat& format) {
  AddOnce(
      app, "--format", "FORMAT", [&format](const std::string& text) { format = ParseFormat(text); },
      "table (default), json or csv")
      ->group(REPORT_GROUP);
}

void AddTraceOption(CLI::App& app, std::string& directory) {
  app.add_option("--trace", directory, "Write a timeline of the library's work into this directory")
      ->check(CLI::ExistingDirectory.description(""))
      ->type_name("DIR")
      ->group(REPORT_GROUP);
}

CLI::App* AddOffline(CLI::App& app, OfflineOptions& options) {
  CLI::App* offline =
      app.add_subcommand("offline", "Measures compiled models and ranks them, the fastest first.");
  offline->add_option("MODEL", options.models, "Model files, one for each candidate")
      ->required()
      ->check(CLI::ExistingFile.description(""))
      ->type_name("");
  AddMeasuringOptions(*offline, options);
  AddLoadingOptions(*offline, options);
  AddDynamicOptions(*offline, options);
  AddDataOptions(*offline, options);
  AddFormatOption(*offline, options.format);
  AddTraceOption(*offline, options.traceDirectory);
  offline->footer(OFFLINE_FOOTER);
  offline->callback([&options] {
    if (!options.outputs.empty() && options.models.size() > 1) {
      throw CLI::ValidationError("--output", "needs a single MODEL");
    }
  });
  return offline;
}

void AddGraphOptions(CLI::App& app, OnlineOptions& options) {
  constexpr char GROUP[] = "Graphs";
  app.add_option("--depend", options.dependGraphs,
                 "A graph that is executed once in the same session before each candidate; the\n"
                 "option may be repeated, and the order counts")
      ->check(CLI::ExistingFile.description(""))
      ->allow_extra_args(false)
      ->type_name("GRAPH")
      ->group(GROUP);
  AddRepeated(
      app, "--option", "KEY=VALUE",
      [&options](const std::string& text) { options.options.insert(ParseKeyValue(text)); },
      "A compile option of the candidates; may be repeated with other keys")
      ->group(GROUP);
}

void AddCheckOptions(CLI::App& app, OnlineOptions& options) {
  constexpr char GROUP[] = "Checking";
  CLI::Option* check = app.add_flag("--check", options.check,
                                    "Run each candidate once, unprofiled, instead of measuring it");
  check->group(GROUP);
  app.add_option("--save", options.saveDirectory,
                 "Directory for the outputs of a check: NUMBER-NAME-OUTPUT")
      ->check(CLI::ExistingDirectory.description(""))
      ->type_name("DIR")
      ->needs(check)
      ->group(GROUP);
}

CLI::App* AddOnline(CLI::App& app, OnlineOptions& options) {
  CLI::App* online = app.add_subcommand(
      "online", "Measures graphs in a session of the graph engine and ranks them.");
  online->add_option("GRAPH", options.graphs, "Graph files, one for each candidate")
      ->required()
      ->check(CLI::ExistingFile.description(""))
      ->type_name("");
  AddDeviceOptions(*online, options);
  AddBoundOption(*online, options);
  AddGraphOptions(*online, options);
  AddCheckOptions(*online, options);
  AddFormatOption(*online, options.format);
  AddTraceOption(*online, options.traceDirectory);
  online->footer(ONLINE_FOOTER);
  return online;
}

CLI::App* AddOp(CLI::App& app, OpOptions& options) {
  CLI::App* op =
      app.add_subcommand("op", "Measures single operators from requests and ranks them.");
  op->add_option("REQUEST", options.requests, "Files with requests, one for each candidate")
      ->required()
      ->check(CLI::ExistingFile.description(""))
      ->type_name("");
  AddDeviceOptions(*op, options);
  op->add_option("--tiling", options.tiling, "Tiling text that is handed to the operator")
      ->type_name("TEXT")
      ->group(MEASURING_GROUP);
  AddFormatOption(*op, options.format);
  AddTraceOption(*op, options.traceDirectory);
  op->footer(OP_FOOTER);
  return op;
}

CLI::App* AddSim(CLI::App& app, SimOptions& options) {
  CLI::App* sim = app.add_subcommand(
      "sim", "Measures graphs of kernels on the cycle simulator and ranks them.");
  sim->add_option("GRAPH", options.graphs, "Graph files whose nodes name kernels")
      ->required()
      ->check(CLI::ExistingFile.description(""))
      ->type_name("");
  AddFormatOption(*sim, options.format);
  sim->footer(SIM_FOOTER);
  return sim;
}

}  // namespace

Command ParseCommandLine(int argc, const char* const* argv) {
  CLI::App app(DESCRIPTION, "ormo-measure");
  app.set_version_flag("--version", "ormo-measure " ORMO_MEASURE_VERSION);
  app.require_subcommand(1);
  OfflineOptions options;
  const CLI::App* offline = AddOffline(app, options);
  OnlineOptions onlineOptions;
  const CLI::App* online = AddOnline(app, onlineOptions);
  OpOptions opOptions;
  const CLI::App* op = AddOp(app, opOptions);
  SimOptions simOptions;
  const CLI::App* sim = AddSim(app, simOptions);
  app.add_subcommand("soc", "Prints the chip's name.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return Done{app.exit(e) == 0 ? EXIT_ALL_MEASURED : EXIT_BAD_USAGE};
  }
  if (offline->parsed()) {
    return options;
  }
  if (online->parsed()) {
    return onlineOptions;
  }
  if (op->parsed()) {
    return opOptions;
  }
  if (sim->parsed()) {
    return simOptions;
  }
  return SocQuery();
}

}  // namespace OrmoMeasure

// ostrel: the command-line tool.

#include <clocale>
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "session.h"

namespace {

using namespace cli;

// What a failure of the whole command is about.
Json about(const CommandLine& line) {
  Json json;
  json["command"] = line.command();
  if (!line.settings().server.empty()) json["server"] = line.settings().server;
  if (!line.subject().empty())
    json[line.command() == "action" ? "aid" : "oid"] = line.subject();
  return json;
}

// A mistake in the command line may come before --json was read.
bool wantsJson(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments)
    if (argument == "--json" || argument == "-j") return true;
  return false;
}

Exit run(CommandLine& line, Output& output) {
  const auto fail = [&](const Failure& failure) {
    output.failure(failure, about(line));
    return failure.exit;
  };
  try {
    // Found here, so that nothing is sent on behalf of a mistake.
    const std::string& principal = line.settings().principal;
    if (!principal.empty() && principal != "none") parseOid(principal);
    const Exit exit = line.run(output);
    output.endProgress();
    return exit;
  } catch (const Failure& failure) {
    if (failure.exit != kRefused || line.subject().empty())
      return fail(failure);
    const std::string named =
        line.command() + " " + escaped(line.subject()) + ": " + failure.what();
    return fail(Failure(failure.exit, named, failure.hint, failure.code));
  } catch (const TextError& error) {
    return fail(Failure(kUsage, error.what(),
                        "ostrel " + line.command() + " --help shows how."));
  } catch (const std::exception& error) {
    return fail(Failure(kSetup, error.what()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  CommandLine line;
  try {
    line.parse(arguments);
  } catch (const CLI::ParseError& error) {
    const std::string text = line.textFor(error);
    if (error.get_exit_code() == 0) {
      std::fputs(text.c_str(), stdout);
      return kDone;
    }
    Settings settings = line.settings();
    settings.json = wantsJson(arguments);
    Output output(settings);
    const std::string command = line.command();
    output.failure(Failure(kUsage, text,
                           "ostrel " + (command.empty() ? "" : command + " ") +
                               "--help shows how."),
                   about(line));
    return kUsage;
  }
  Output output(line.settings());
  return run(line, output);
}

// ostrel: the command-line tool.

#include <fcntl.h>
#include <unistd.h>

#include <exception>

#include "command_line.h"
#include "session/session.h"

namespace {

using namespace ostrel::tools::cli;

// What a failure of the whole command is about.
Json about(const CommandLine& line) {
  Json json;
  json["command"] = line.command();
  if (!line.settings().server.empty()) json["server"] = line.settings().server;
  if (!line.subject().empty())
    json[line.command() == "action" ? "aid" : "oid"] = line.subject();
  return json;
}

// A mistake in the command line may come before --json was read. Short options
// may be joined, up to one that takes the rest for its value.
bool wantsJson(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--json") return true;
    if (argument.substr(0, 1) != "-" || argument.substr(0, 2) == "--") continue;
    const std::string joined =
        argument.substr(0, argument.find_first_of("strp"));
    if (joined.find('j') != joined.npos) return true;
  }
  return false;
}

// The next descriptor opened would take the place of a closed one. What stands
// in for it fails to be read and written as well.
void openStandardDescriptors() {
  for (int i = STDIN_FILENO; i <= STDERR_FILENO; ++i)
    if (fcntl(i, F_GETFD) < 0)
      open("/dev/null", i == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

Exit run(CommandLine& line, Output& output) {
  const auto fail = [&](const Failure& failure) {
    output.failure(failure, about(line));
    return failure.exit;
  };
  try {
    line.configure();
    return line.run(output);
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
  openStandardDescriptors();
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  CommandLine line;
  try {
    line.parse(arguments);
  } catch (const CLI::ParseError& error) {
    const std::string text = line.textFor(error);
    Settings settings = line.settings();
    settings.json = wantsJson(arguments);
    Output output(settings);
    if (error.get_exit_code() == 0) {
      output.write(text);
      return output.finish(kDone);
    }
    const std::string command = line.command();
    output.failure(Failure(kUsage, text,
                           "ostrel " + (command.empty() ? "" : command + " ") +
                               "--help shows how."),
                   about(line));
    return output.finish(kUsage);
  }
  Output output(line.settings());
  return output.finish(run(line, output));
}

// "ostrel decode".

#include <iostream>

#include "commands/command_support.h"
#include "format/decode.h"

namespace ostrel::tools::cli {

namespace {

Exit runDecode(Output& output, Arguments& arguments) {
  const Words& inputs = arguments.words;
  std::vector<std::string> encodings;
  const auto read = [&](const std::string& text, const std::string& where) {
    try {
      encodings.push_back(parseHex(text));
    } catch (const TextError& error) {
      throw Failure(kDecode, where + error.what(),
                    "ostrel decode --help shows how.");
    }
  };
  for (const std::string& text : inputs) read(text, escaped(text) + ": ");
  unsigned number = 0;
  std::string text;
  while (inputs.empty() && std::getline(std::cin, text)) {
    ++number;
    if (text.find_first_not_of(" \t\r") != text.npos)
      read(text, "line " + std::to_string(number) + ": ");
  }
  if (encodings.empty())
    throw Failure(kUsage, "there is nothing to decode",
                  "Give hexadecimal digits as arguments or on standard input.");

  Exit exit = kDone;
  for (const Decoded& decoded : decodeAll(encodings)) {
    if (decoded.problem.empty()) {
      output.result(decodedText(decoded), decodedJson(decoded));
      continue;
    }
    output.result(decodedText(decoded), decodedJson(decoded));
    output.itemFailure(decoded.problem);
    exit = kDecode;
  }
  return exit;
}

}  // namespace

std::vector<Command> decodeCommands() {
  return {
      {"decode", "Print values, PDUs and datagrams given in hexadecimal",
       "White space, colons and 0x before digits do not count. What begins\n"
       "with 00 and goes on is a datagram; the fragments of one message are\n"
       "put together. Without arguments each line of the standard input is\n"
       "one. Sends nothing.\n\n" +
           examples("  ostrel decode 1f03004301050a000a01013b01060000804300\n"
                    "  ostrel --json decode 0x030105\n"
                    "  ostrel decode < datagrams.txt"),
       [](CLI::App& command, Arguments& arguments) {
         addWords(command, arguments, "HEX", "Each a value or a datagram");
       },
       runDecode},
  };
}

}  // namespace ostrel::tools::cli

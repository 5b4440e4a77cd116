// "ostrel decode".

#include <iostream>

#include "commands/commands.h"
#include "format/decode.h"

namespace ostrel::tools::cli {

Exit runDecode(Output& output, const Words& inputs) {
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

}  // namespace ostrel::tools::cli

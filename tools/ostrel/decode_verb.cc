// "ostrel decode".

#include <iostream>

#include "decode.h"
#include "verbs.h"

namespace cli {

Exit runDecode(Output& output, const Words& inputs) {
  Words lines = inputs;
  if (lines.empty())
    for (std::string text; std::getline(std::cin, text);)
      if (text.find_first_not_of(" \t\r") != text.npos) lines.push_back(text);

  std::vector<std::string> encodings;
  for (const std::string& text : lines) encodings.push_back(parseHex(text));
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

}  // namespace cli

#include "server_requests.h"

#include <ostrel/codes.h>
#include <ostrel/names.h>
#include <ostrel/veskAttr.h>
#include <ostrel/veskPDU.h>

#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

namespace server_load {
namespace {

constexpr std::uint32_t kFoundByIndex = 10;
constexpr std::uint32_t kAttributes = 10;

// An object by chance, the same ones in every run.
std::uint32_t chosen(std::uint32_t number, std::uint32_t objects) {
  std::uint32_t mixed = number * 2654435761U;
  mixed ^= mixed >> 15;
  mixed *= 2246822519U;
  mixed ^= mixed >> 13;
  return mixed % objects;
}

[[noreturn]] void unexpected(const char* system, std::string_view bytes) {
  std::string text = std::string("unexpected answer of ") + system + ":";
  for (const char byte : bytes.substr(0, 100)) {
    char digits[8];
    std::snprintf(digits, sizeof digits, " %02X",
                  static_cast<unsigned char>(byte));
    text += digits;
  }
  throw std::runtime_error(text);
}

std::string nameOf(std::uint32_t object) {
  return "the object " + std::to_string(object);
}

// --- Object server ----------------------------------------------------------

veskOid objectOid(std::uint32_t object) {
  veskOid oid("59.200.0.0");
  oid.component[3] = object + 1;
  return oid;
}

std::string datagram(veskPDU& request, std::uint32_t number) {
  request.requestId.value = number;
  std::string bytes(ostrel::kFragmentHeader + ostrel::kFragmentData, '\0');
  const unsigned length = request.encode(bytes.data() + ostrel::kFragmentHeader,
                                         ostrel::kFragmentData);
  if (length == 0) throw std::runtime_error("a request is too long");
  const unsigned fields[] = {
      ostrel::kFragmentVersion, number & 0xFFFF, 1, 0, length >> 16,
      length & 0xFFFF};
  std::size_t at = 0;
  for (const unsigned field : fields) {
    bytes[at++] = static_cast<char>(field >> 8 & 0xFF);
    bytes[at++] = static_cast<char>(field & 0xFF);
  }
  bytes.resize(ostrel::kFragmentHeader + length);
  return bytes;
}

// Status 0, and these bytes somewhere.
Question asking(std::function<std::string(std::uint32_t)> request,
                std::string expected = "") {
  return {std::move(request), [=](std::string_view bytes) {
            constexpr std::string_view kSuccess("\x03\0", 2);
            if (bytes.size() <= ostrel::kFragmentHeader ||
                bytes.substr(ostrel::kFragmentHeader + 1, 2) != kSuccess ||
                bytes.find(expected) == std::string_view::npos)
              unexpected("ostreld", bytes);
            return Arrived{bytes.size()};
          }};
}

// The beginning of a list of so many values.
std::string listOf(std::uint32_t count) {
  return {'\x80', '\x43', '\x01', static_cast<char>(count)};
}

veskAid attribute(std::uint32_t number) {
  veskAid id("59.200.1");
  id.component[2] = number;
  return id;
}

// Ten attributes: numbers and texts in turn. One value of the first is in ten
// objects.
void fillAttributes(veskList* attributes, std::uint32_t object) {
  const std::string text = nameOf(object);
  for (std::uint32_t i = 0; i < kAttributes; ++i) {
    veskInt number(
        static_cast<int>(i == 0 ? object / kFoundByIndex : object + i));
    veskString name(text.c_str());
    veskAid id = attribute(i + 1);
    veskType* value = &number;
    if (i % 2 == 1) value = &name;
    attributes->append(new veskAttribute(&id, value));
  }
}

Question getQuestion(std::uint32_t objects, std::uint32_t count) {
  auto names = std::make_shared<veskList>();
  for (std::uint32_t i = 0; i < count; ++i) {
    veskAid id = attribute(i + 1);
    names->append(new veskAttribute(&id));
  }
  return asking(
      [=](std::uint32_t number) {
        veskOid oid = objectOid(chosen(number, objects));
        veskGetPDU request(oid, names.get());
        return datagram(request, number);
      },
      listOf(count));
}

Question searchQuestion(
    int operation, const char* attributeText, std::uint32_t results,
    std::function<std::unique_ptr<veskType>(std::uint32_t)> value) {
  return asking(
      [=](std::uint32_t number) {
        veskOid classOid("59.200.0.0");
        veskAid id(attributeText);
        const auto given = value(number);
        veskAttributeValueOp condition(&id, given.get(), operation);
        veskList conditions;
        conditions.append(&condition);
        veskSearchPDU request(classOid, &conditions, ostrel::kSearchFlag);
        return datagram(request, number);
      },
      results == 0 ? std::string("\x80\x43\0\x80\x43\0", 6) : listOf(results));
}

Question setQuestion(std::uint32_t first, std::uint32_t objects) {
  return asking([=](std::uint32_t number) {
    veskOid oid = objectOid(first + chosen(number, objects));
    veskInt value(static_cast<int>(number));
    veskList attributes;
    veskAppendAttr(&attributes, "59.200.3", &value);
    veskSetPDU request(oid, &attributes);
    std::string bytes = datagram(request, number);
    attributes.clear(1);
    return bytes;
  });
}

Question ostrelQuestion(const std::string& operation, std::uint32_t objects) {
  if (operation == "verify")
    return asking([=](std::uint32_t number) {
      veskOid oid = objectOid(chosen(number, objects));
      veskVerifyPDU request(oid);
      return datagram(request, number);
    });
  if (operation == "get1") return getQuestion(objects, 1);
  if (operation == "get10") return getQuestion(objects, kAttributes);
  if (operation == "set") return setQuestion(0, objects);
  if (operation == "create")
    return asking([](std::uint32_t number) {
      veskOid classOid("59.200.0.0");
      veskList attributes;
      fillAttributes(&attributes, number);
      veskCreatePDU request(classOid, &attributes);
      std::string bytes = datagram(request, number);
      attributes.clear(1);
      return bytes;
    });
  if (operation == "equal")
    return searchQuestion(ostrel::kOperatorEquals, "59.200.1", kFoundByIndex,
                          [=](std::uint32_t number) {
                            return std::make_unique<veskInt>(static_cast<int>(
                                chosen(number, objects) / kFoundByIndex));
                          });
  if (operation == "scan")
    return searchQuestion(
        ostrel::kOperatorContains, "59.200.2", 0,
        [](std::uint32_t) { return std::make_unique<veskString>("nobody"); });
  throw std::invalid_argument("no such operation: " + operation);
}

// --- BER --------------------------------------------------------------------

std::string element(unsigned char tag, std::string_view content) {
  std::string bytes(1, static_cast<char>(tag));
  if (content.size() < 0x80) {
    bytes += static_cast<char>(content.size());
  } else {
    bytes += '\x82';
    bytes += static_cast<char>(content.size() >> 8);
    bytes += static_cast<char>(content.size() & 0xFF);
  }
  return bytes.append(content);
}

constexpr unsigned char kInteger = 0x02;
constexpr unsigned char kText = 0x04;
constexpr unsigned char kEnumerated = 0x0A;
constexpr unsigned char kSequence = 0x30;

std::string integer(std::uint32_t number, unsigned char tag = kInteger) {
  std::string content;
  for (int shift = 24; shift >= 0; shift -= 8)
    if (number >> shift != 0 || shift == 0)
      content += static_cast<char>(number >> shift & 0xFF);
  if ((content[0] & 0x80) != 0) content.insert(0, 1, '\0');
  return element(tag, content);
}

// The element that the bytes begin with.
struct Element {
  unsigned char tag = 0;
  std::string_view content;
  std::size_t size = 0;  // 0: there is not all of it yet
};

Element firstOf(std::string_view bytes) {
  if (bytes.size() < 2) return {};
  std::size_t length = static_cast<unsigned char>(bytes[1]);
  std::size_t header = 2;
  if (length >= 0x80) {
    const std::size_t digits = length & 0x7F;
    header += digits;
    if (bytes.size() < header) return {};
    length = 0;
    for (std::size_t i = 2; i < header; ++i)
      length = length << 8 | static_cast<unsigned char>(bytes[i]);
  }
  if (bytes.size() - header < length) return {};
  return {static_cast<unsigned char>(bytes[0]), bytes.substr(header, length),
          header + length};
}

std::vector<Element> elementsIn(std::string_view bytes) {
  std::vector<Element> all;
  while (!bytes.empty()) {
    all.push_back(firstOf(bytes));
    if (all.back().size == 0) break;
    bytes.remove_prefix(all.back().size);
  }
  return all;
}

// --- SNMP -------------------------------------------------------------------

constexpr unsigned char kIdentifier = 0x06;
constexpr unsigned char kGetRequest = 0xA0;
constexpr unsigned char kResponse = 0xA2;
constexpr unsigned char kFirstException = 0x80;

// What the agent has in its own memory, without asking the system: sysDescr,
// sysObjectID, sysUpTime, sysContact, sysName, sysLocation, sysServices, and
// snmpInPkts, snmpOutPkts, snmpInBadVersions.
constexpr unsigned char kVariables[kAttributes][2] = {
    {1, 1}, {1, 2}, {1, 3},  {1, 4},  {1, 5},
    {1, 6}, {1, 7}, {11, 1}, {11, 2}, {11, 3}};

Question snmpGet(std::uint32_t count) {
  std::string variables;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::string name = {'\x2B',
                              '\x06',
                              '\x01',
                              '\x02',
                              '\x01',
                              static_cast<char>(kVariables[i][0]),
                              static_cast<char>(kVariables[i][1]),
                              '\0'};
    variables += element(kSequence,
                         element(kIdentifier, name) + std::string("\x05\0", 2));
  }
  const std::string list = element(kSequence, variables);
  return {[=](std::uint32_t number) {
            return element(kSequence, integer(1) + element(kText, "public") +
                                          element(kGetRequest,
                                                  integer(number) + integer(0) +
                                                      integer(0) + list));
          },
          [=](std::string_view bytes) {
            const auto message = elementsIn(firstOf(bytes).content);
            if (message.size() != 3 || message[2].tag != kResponse)
              unexpected("snmpd", bytes);
            const auto parts = elementsIn(message[2].content);
            if (parts.size() != 4 || parts[1].content != std::string(1, '\0'))
              unexpected("snmpd", bytes);
            const auto values = elementsIn(parts[3].content);
            if (values.size() != count) unexpected("snmpd", bytes);
            for (const Element& each : values)
              if (elementsIn(each.content).at(1).tag >= kFirstException)
                unexpected("snmpd", bytes);
            return Arrived{bytes.size()};
          }};
}

// --- LDAP -------------------------------------------------------------------

constexpr const char* kSuffix = "dc=bench";
constexpr const char* kWriter = "cn=writer,dc=bench";
constexpr const char* kNames[kAttributes] = {"cn",
                                             "sn",
                                             "description",
                                             "telephoneNumber",
                                             "title",
                                             "l",
                                             "st",
                                             "postalCode",
                                             "physicalDeliveryOfficeName",
                                             "street"};

constexpr unsigned char kBind = 0x60;
constexpr unsigned char kSearch = 0x63;
constexpr unsigned char kEntry = 0x64;
constexpr unsigned char kModify = 0x66;

std::string entryName(std::uint32_t object) {
  return "cn=" + nameOf(object) + "," + kSuffix;
}

std::string message(std::uint32_t number, unsigned char tag,
                    std::string_view content) {
  return element(kSequence, integer(number + 1) + element(tag, content));
}

// A search is answered by an entry with so many attributes, and then, as all
// are, by what says that it went well. Those of several searches mix.
Arrived ldapAnswer(std::string_view bytes, std::uint32_t attributes) {
  const Element first = firstOf(bytes);
  if (first.size == 0) return {};
  const auto parts = elementsIn(first.content);
  if (parts.size() < 2) unexpected("slapd", bytes);
  const auto content = elementsIn(parts[1].content);
  if (parts[1].tag == kEntry) {
    if (elementsIn(content.at(1).content).size() != attributes)
      unexpected("slapd", bytes);
    return {first.size, false};
  }
  if (content.at(0).content != std::string(1, '\0')) unexpected("slapd", bytes);
  return {first.size};
}

Question ldapQuestion(const std::string& operation, std::uint32_t objects) {
  if (operation == "set")
    return {[=](std::uint32_t number) {
              const std::string change = element(
                  kSequence,
                  element(kText, kNames[2]) +
                      element(0x31, element(kText, std::to_string(number))));
              return message(
                  number, kModify,
                  element(kText, entryName(chosen(number, objects))) +
                      element(kSequence,
                              element(kSequence,
                                      integer(2, kEnumerated) + change)));
            },
            [](std::string_view bytes) { return ldapAnswer(bytes, 0); }};
  const std::uint32_t count = operation == "get1" ? 1 : kAttributes;
  if (count != 1 && operation != "get10")
    throw std::invalid_argument("no such operation: " + operation);
  std::string names;
  for (std::uint32_t i = 0; i < count; ++i) names += element(kText, kNames[i]);
  const std::string rest =
      integer(0, kEnumerated) + integer(0, kEnumerated) + integer(0) +
      integer(0) + element(0x01, std::string(1, '\0')) +
      element(0x87, "objectClass") + element(kSequence, names);
  return {[=](std::uint32_t number) {
            return message(
                number, kSearch,
                element(kText, entryName(chosen(number, objects))) + rest);
          },
          [=](std::string_view bytes) { return ldapAnswer(bytes, count); }};
}

}  // namespace

Question questionFor(const std::string& system, const std::string& operation,
                     std::uint32_t objects) {
  if (system == "ostrel") return ostrelQuestion(operation, objects);
  if (system == "snmp") return snmpGet(operation == "get1" ? 1 : kAttributes);
  if (system == "ldap") return ldapQuestion(operation, objects);
  throw std::invalid_argument("no such system: " + system);
}

Question registration(std::uint32_t object, std::uint16_t port) {
  return asking([=](std::uint32_t number) {
    veskOid classOid(ostrel::kRegistrationClass);
    veskOid watched = objectOid(object);
    veskAid event(ostrel::kEventChanged);
    veskAddress to("127.0.0.1");
    veskUnsignedShort toPort(port);
    veskList attributes;
    veskAppendAttr(&attributes, ostrel::kRegistrationObject, &watched);
    veskAppendAttr(&attributes, ostrel::kRegistrationEvent, &event);
    veskAppendAttr(&attributes, ostrel::kRegistrationAddress, &to);
    veskAppendAttr(&attributes, ostrel::kRegistrationPort, &toPort);
    veskCreatePDU request(classOid, &attributes);
    std::string bytes = datagram(request, number);
    attributes.clear(1);
    return bytes;
  });
}

Question changeOf(std::uint32_t object) { return setQuestion(object, 1); }

std::string bindRequest() {
  return message(
      0, kBind, integer(3) + element(kText, kWriter) + element(0x80, "secret"));
}

std::string ldif(std::uint32_t objects) {
  std::string text = std::string("dn: ") + kSuffix +
                     "\nobjectClass: dcObject\nobjectClass: organization\n"
                     "dc: bench\no: bench\n";
  for (std::uint32_t i = 0; i < objects; ++i) {
    text += "\ndn: " + entryName(i) + "\nobjectClass: organizationalPerson\n";
    for (std::uint32_t at = 0; at < kAttributes; ++at) {
      const bool isText = at == 0 || at % 2 == 1;
      text += std::string(kNames[at]) + ": " +
              (at == 3 || !isText ? std::to_string(i + at) : nameOf(i)) + "\n";
    }
  }
  return text;
}

}  // namespace server_load

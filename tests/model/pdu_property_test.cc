// What holds for every PDU, attribute, object and description, whatever is
// inside it, over ones that are made up from seeds.
//
// Exceptions, by name:
// - The object of an action does not travel.
// - The response to an action arrives as the response to a set.
// - Of the default value in an attribute's description only the tag is read, so
//   that descriptions come back only with a null one.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>

#include "ostrel/objectdesc.h"
#include "ostrel/veskAttr.h"
#include "ostrel/veskError.h"
#include "ostrel/veskOmAttr.h"
#include "ostrel/veskPDU.h"
#include "support/bytes.h"
#include "support/random_values.h"
#include "support/value_invariants.h"

namespace {

using ostrel::test::Arrival;
using ostrel::test::brokenInvariant;
using ostrel::test::Bytes;
using ostrel::test::Encoded;
using ostrel::test::encoded;
using ostrel::test::encodeInto;
using ostrel::test::mutated;
using ostrel::test::prefix;
using ostrel::test::printed;
using ostrel::test::Random;
using ostrel::test::randomBytes;
using ostrel::test::randomIdentifier;
using ostrel::test::randomValue;
using ostrel::test::toHex;

constexpr unsigned kDepth = 4;
constexpr unsigned kMostElements = 3;
constexpr unsigned kMostName = 12;
constexpr unsigned kMostBytes = 40;
constexpr std::uint64_t kTrees = 200;
constexpr std::uint64_t kSmallTrees = 5;

class Tree;

struct Kind {
  const char* name;
  veskType* (*make)(Tree&);
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

// A value of a kind with random contents. It frees what it is made of, which
// destructors of PDUs and descriptions leave alone.
//
// Arguments of constructors stand in braces: they are made in that order.
class Tree {
 public:
  Tree(const Kind& kind, std::uint64_t seed, unsigned depth = kDepth)
      : random_(seed), depth_(depth), root_(own(kind.make(*this))) {}
  ~Tree() { owned_.clear(1); }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  veskType& operator*() const { return *root_; }
  Random& random() { return random_; }

  unsigned number() { return random_.number(); }
  int code() { return static_cast<int>(random_.number()); }
  veskOid& oid() {
    const std::string text = randomIdentifier(random_, 2 + random_.below(3));
    return *own(new veskOid(text.c_str()));
  }
  veskAid& aid() {
    const std::string text = randomIdentifier(random_, 2 + random_.below(2));
    return *own(new veskAid(text.c_str()));
  }
  void name(veskString* out) {
    const std::string text = random_.text(kMostName);
    if (text.empty()) return;
    out->set(text.data(), static_cast<unsigned>(text.size()));
  }

  // For whoever does not free its list, and for whoever does.
  veskList* list() { return own(freshList()); }
  veskList* freshList() {
    auto* made = new veskList;
    fill(made);
    return made;
  }
  void fill(veskList* elements) {
    if (depth_ == 0) return;
    --depth_;
    const unsigned count = random_.below(kMostElements + 1);
    for (unsigned i = 0; i < count; ++i) elements->append(anything());
    ++depth_;
  }

  // What an attribute adopts, and what one only points at.
  veskType* value() {
    if (depth_ == 0 || random_.below(4) == 0) return nullptr;
    --depth_;
    veskType* made = anything();
    ++depth_;
    return made;
  }
  veskType* keptValue() {
    veskType* made = value();
    return made != nullptr ? own(made) : nullptr;
  }

  template <class Value>
  Value* own(Value* made) {
    owned_.append(made);
    return made;
  }

 private:
  veskType* anything();

  Random random_;
  unsigned depth_;
  veskList owned_;
  veskType* root_;
};

// With a random header.
veskType* headed(Tree& tree, veskPDU* pdu) {
  pdu->status.value = tree.code();
  pdu->requestId.value = tree.number();
  pdu->principal = tree.oid();
  return pdu;
}

veskType* directoryResponse(Tree& tree) {
  auto* pdu = new veskDSsearchRespPDU{tree.code(), tree.list(), tree.list()};
  tree.fill(tree.own(pdu->list2));
  return headed(tree, pdu);
}

template <class Attribute>
veskType* attribute(Tree& tree) {
  auto* made = new Attribute{&tree.aid()};
  made->value = tree.value();
  return made;
}

veskType* valueOp(Tree& tree) {
  auto* made =
      new veskAttributeValueOp{&tree.aid(), nullptr, tree.code() & 0x7F};
  made->value = tree.value();
  return made;
}

veskType* argumentDesc(Tree& tree) {
  auto* made = new veskArgumentDesc;
  tree.name(&made->name);
  made->type.value = tree.number();
  return made;
}

veskType* attributeDesc(Tree& tree) {
  auto* made = new veskAttributeDesc;
  tree.own(made->defval);
  tree.name(&made->name);
  made->id = tree.aid();
  made->type.value = tree.number();
  made->access.value = tree.number();
  made->storage.value = tree.number();
  made->requiredOnCreate.value = tree.number() % 2;
  return made;
}

template <class Desc>
veskType* callDesc(Tree& tree) {
  auto* made = new Desc;
  tree.name(&made->name);
  made->id = tree.aid();
  made->arguments = *tree.list();
  return made;
}

veskType* objectDesc(Tree& tree) {
  auto* made = new veskObjectDesc;
  tree.name(&made->name);
  made->id = tree.oid();
  made->derivedFrom = tree.oid();
  made->attributes = *tree.list();
  made->actions = *tree.list();
  made->events = *tree.list();
  return made;
}

const Kind kPdus[] = {
    {"Create",
     [](Tree& t) {
       return headed(t, new veskCreatePDU{t.oid(), t.list()});
     }},
    {"Clone",
     [](Tree& t) {
       return headed(t, new veskClonePDU{t.oid(), t.list()});
     }},
    {"Remove", [](Tree& t) { return headed(t, new veskRemovePDU{t.oid()}); }},
    {"Get",
     [](Tree& t) {
       return headed(t, new veskGetPDU{t.oid(), t.list()});
     }},
    {"Set",
     [](Tree& t) {
       return headed(t, new veskSetPDU{t.oid(), t.list()});
     }},
    {"Search",
     [](Tree& t) {
       return headed(t, new veskSearchPDU{t.oid(), t.list(), t.number()});
     }},
    {"Event",
     [](Tree& t) {
       return headed(t, new veskEventPDU{t.oid(), t.aid(), t.list()});
     }},
    {"Action",
     [](Tree& t) {
       return headed(t, new veskActionPDU{t.oid(), t.aid(), t.list()});
     }},
    {"Verify", [](Tree& t) { return headed(t, new veskVerifyPDU{t.oid()}); }},
    {"DirectorySearch",
     [](Tree& t) {
       return headed(t, new veskDSsearchPDU{t.oid(), t.list(), t.list()});
     }},
    {"CreateResponse",
     [](Tree& t) {
       return headed(t, new veskCreateRespPDU{t.code(), t.oid(), t.list()});
     }},
    {"CloneResponse",
     [](Tree& t) {
       return headed(t, new veskCloneRespPDU{t.code(), t.oid(), t.list()});
     }},
    {"GetResponse",
     [](Tree& t) {
       return headed(t, new veskGetRespPDU{t.code(), t.list(), t.list()});
     }},
    {"SetResponse",
     [](Tree& t) {
       return headed(t, new veskSetRespPDU{t.code(), t.list()});
     }},
    {"ActionResponse",
     [](Tree& t) {
       return headed(t, new veskActionRespPDU{t.code(), t.list()});
     }},
    {"SearchResponse",
     [](Tree& t) {
       return headed(t, new veskSearchRespPDU{t.code(), t.list(), t.list()});
     }},
    {"RemoveResponse",
     [](Tree& t) { return headed(t, new veskRemoveRespPDU{t.code()}); }},
    {"VerifyResponse",
     [](Tree& t) { return headed(t, new veskVerifyRespPDU{t.code()}); }},
    {"DirectoryResponse", directoryResponse},
};

const Kind kRecords[] = {
    {"Attribute", attribute<veskAttribute>},
    {"ValueOp", valueOp},
    {"OmAttribute",
     [](Tree& t) -> veskType* {
       return new veskOmAttribute{&t.aid(), t.keptValue()};
     }},
    {"OmValueOp",
     [](Tree& t) -> veskType* {
       return new veskOmAttributeValueOp{&t.aid(), t.keptValue(),
                                         t.code() & 0x7F};
     }},
    {"Object",
     [](Tree& t) -> veskType* {
       return new veskObject{&t.oid(), t.freshList()};
     }},
    {"Error",
     [](Tree& t) -> veskType* {
       return new veskError{t.number(), t.code()};
     }},
    {"List", [](Tree& t) -> veskType* { return t.freshList(); }},
    {"ArgumentDesc", argumentDesc},
    {"AttributeDesc", attributeDesc},
    {"ActionDesc", callDesc<veskActionDesc>},
    {"EventDesc", callDesc<veskEventDesc>},
    {"ObjectDesc", objectDesc},
};

template <std::size_t count>
const Kind& oneOf(const Kind (&kinds)[count], Random& random) {
  return kinds[random.below(static_cast<unsigned>(count))];
}

veskType* Tree::anything() {
  switch (random_.below(5)) {
    case 0:
    case 1:
      return randomValue(random_, depth_ == 0 ? 0 : 1);
    case 2:
      return oneOf(kPdus, random_).make(*this);
    default:
      return oneOf(kRecords, random_).make(*this);
  }
}

std::string asText(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

std::string seedText(std::uint64_t seed) {
  return "seed " + std::to_string(seed);
}

// The class that such a value has when it arrives.
const std::type_info& classOnArrival(const veskType& value) {
  const std::type_info& sent = typeid(value);
  if (sent == typeid(veskActionRespPDU)) return typeid(veskSetRespPDU);
  if (sent == typeid(veskOmAttribute)) return typeid(veskAttribute);
  if (sent == typeid(veskOmAttributeValueOp))
    return typeid(veskAttributeValueOp);
  return sent;
}

class AnyHolder : public testing::TestWithParam<Kind> {};

TEST_P(AnyHolder, WhatEncodesArrivesWithTheSameClassTextAndBytes) {
  for (std::uint64_t seed = 0; seed < kTrees; ++seed) {
    const Tree tree(GetParam(), seed);
    const Bytes bytes = encoded(*tree);
    SCOPED_TRACE(seedText(seed) + ": " + toHex(bytes));
    const Arrival arrived(asText(bytes));
    ASSERT_EQ(arrived.used(), bytes.size());
    const veskType& value = *arrived;
    ASSERT_TRUE(typeid(value) == classOnArrival(*tree));
    ASSERT_EQ(value.tag, (*tree).tag);
    ASSERT_EQ(printed(*arrived), printed(*tree));
    ASSERT_EQ(encoded(*arrived), bytes);
  }
}

// Copies, their copies and all that is freed with them, too.
TEST_P(AnyHolder, ObeysTheInvariantsOnceArrived) {
  for (std::uint64_t seed = 0; seed < kTrees; ++seed) {
    const Tree tree(GetParam(), seed);
    const Bytes bytes = encoded(*tree);
    ASSERT_EQ(brokenInvariant(asText(bytes)), nullptr)
        << seedText(seed) << ": " << toHex(bytes);
  }
}

TEST_P(AnyHolder, NearlyArrivedObeysTheInvariants) {
  for (std::uint64_t seed = 0; seed < kTrees; ++seed) {
    Tree tree(GetParam(), seed);
    const Bytes bytes = mutated(tree.random(), encoded(*tree));
    ASSERT_EQ(brokenInvariant(asText(bytes)), nullptr)
        << seedText(seed) << ": " << toHex(bytes);
  }
}

TEST_P(AnyHolder, StandsApartFromWhatFollowsIt) {
  for (std::uint64_t seed = 0; seed < kTrees; ++seed) {
    Tree tree(GetParam(), seed);
    const Bytes bytes = encoded(*tree);
    Bytes longer = bytes;
    longer += randomBytes(tree.random(), kMostBytes);
    const Arrival arrived(asText(longer));
    ASSERT_EQ(arrived.used(), bytes.size()) << seedText(seed);
    ASSERT_EQ(encoded(*arrived), bytes) << seedText(seed);
  }
}

TEST_P(AnyHolder, CutShortAnywhereIsRefusedAndLeaksNothing) {
  for (std::uint64_t seed = 0; seed < kSmallTrees; ++seed) {
    const Tree tree(GetParam(), seed, kDepth - 1);
    const Bytes bytes = encoded(*tree);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const Arrival arrived(asText(prefix(bytes, size)));
      ASSERT_EQ(arrived.used(), 0u) << seedText(seed) << ", size " << size;
    }
  }
}

TEST_P(AnyHolder, FitsInEveryRoomFromTheFirstThatFits) {
  for (std::uint64_t seed = 0; seed < kSmallTrees; ++seed) {
    SCOPED_TRACE(seedText(seed));
    const Tree tree(GetParam(), seed, kDepth - 1);
    const Bytes bytes = encoded(*tree);
    bool fits = false;
    const std::size_t most = bytes.size() + ostrel::test::kMostSpareRoom;
    for (std::size_t room = 0; room <= most; ++room) {
      const Encoded result = encodeInto(*tree, room);
      ASSERT_TRUE(result.used != 0 || !fits) << "room " << room;
      fits = result.used != 0;
      ASSERT_EQ(result.bytes, fits ? bytes : Bytes());
    }
    ASSERT_TRUE(fits);
  }
}

std::string kindName(const testing::TestParamInfo<Kind>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Pdus, AnyHolder, testing::ValuesIn(kPdus), kindName);
INSTANTIATE_TEST_SUITE_P(Records, AnyHolder, testing::ValuesIn(kRecords),
                         kindName);

class AnyPdu : public testing::TestWithParam<Kind> {};

TEST_P(AnyPdu, HasCopiesThatShareItsListsAndAreDeletedAlone) {
  for (std::uint64_t seed = 0; seed < kTrees; ++seed) {
    SCOPED_TRACE(seedText(seed));
    const Tree tree(GetParam(), seed);
    const Bytes bytes = encoded(*tree);
    const std::string text = printed(*tree);
    {
      const std::unique_ptr<veskType> copy((*tree).dup());
      const veskType& made = *copy;
      const veskType& source = *tree;
      ASSERT_TRUE(typeid(made) == typeid(source));
      ASSERT_EQ(encoded(*copy), bytes);
      ASSERT_EQ(printed(*copy), text);
    }
    ASSERT_EQ(encoded(*tree), bytes);
    ASSERT_EQ(printed(*tree), text);
  }
}

TEST_P(AnyPdu, ThatArrivedHasCopiesThatMayBeFreedInItsPlace) {
  for (std::uint64_t seed = 0; seed < kTrees; ++seed) {
    SCOPED_TRACE(seedText(seed));
    const Tree tree(GetParam(), seed);
    const Bytes bytes = encoded(*tree);
    const std::string text = printed(*tree);
    std::string input = asText(bytes);
    veskType* source = nullptr;
    const auto size = static_cast<unsigned>(input.size());
    ASSERT_EQ(veskType::decodeCreate(&input[0], size, &source), size);
    veskType* const copy = source->dup();
    delete source;  // alone: the lists are the copy's now
    EXPECT_EQ(encoded(*copy), bytes);
    EXPECT_EQ(printed(*copy), text);
    veskType::destroyDecoded(copy);
  }
}

INSTANTIATE_TEST_SUITE_P(Pdus, AnyPdu, testing::ValuesIn(kPdus), kindName);

}  // namespace

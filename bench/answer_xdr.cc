// ONC RPC XDR, from libtirpc. The filter functions stand as rpcgen writes them
// for this description (with its default inlining of runs of numbers):
//
//   struct oid { unsigned int component[4]; };
//   struct aid { unsigned int component[3]; };
//   struct error { unsigned int index; int code; };
//   union value switch (kind which) {
//     case INTEGER: int integer;        case COUNTER: unsigned int bits;
//     case TEXT: string text<>;         case ADDRESS: unsigned int bits;
//     case REAL: double real;           case TRUTH: bool truth;
//     case OBJECT: oid object;
//   };
//   struct attribute { aid id; value held; };
//   struct answer {
//     int status; unsigned int requestId; oid *principal;
//     error errors<>; attribute attributes<>;
//   };

#include <benchmark/benchmark.h>
#include <rpc/rpc.h>

#include <cstdlib>
#include <cstring>

#include "answer_content.h"

namespace ostrel::bench {
namespace {

struct XdrOid {
  u_int component[4];
};

struct XdrAid {
  u_int component[3];
};

struct XdrError {
  u_int index;
  int code;
};

enum XdrKind {
  kXdrInteger,
  kXdrCounter,
  kXdrText,
  kXdrAddress,
  kXdrReal,
  kXdrTruth,
  kXdrObject,
};

struct XdrValue {
  XdrKind which;
  union {
    int integer;
    u_int bits;
    char* text;
    double real;
    bool_t truth;
    XdrOid object;
  } is;
};

struct XdrAttribute {
  XdrAid id;
  XdrValue held;
};

struct XdrAnswer {
  int status;
  u_int requestId;
  XdrOid* principal;
  struct {
    u_int length;
    XdrError* values;
  } errors;
  struct {
    u_int length;
    XdrAttribute* values;
  } attributes;
};

template <class Filter>
xdrproc_t filterOf(Filter* filter) {
  return reinterpret_cast<xdrproc_t>(filter);
}

template <class Value>
char** bytesOf(Value** value) {
  return reinterpret_cast<char**>(value);
}

template <u_int kCount>
bool_t filterNumbers(XDR* xdrs, u_int (&component)[kCount]) {
  if (xdrs->x_op == XDR_ENCODE) {
    int32_t* buf = XDR_INLINE(xdrs, kCount * BYTES_PER_XDR_UNIT);
    if (buf != nullptr) {
      for (const u_int number : component) IXDR_PUT_U_LONG(buf, number);
      return TRUE;
    }
  } else if (xdrs->x_op == XDR_DECODE) {
    int32_t* buf = XDR_INLINE(xdrs, kCount * BYTES_PER_XDR_UNIT);
    if (buf != nullptr) {
      for (u_int& number : component)
        number = static_cast<u_int>(IXDR_GET_U_LONG(buf));
      return TRUE;
    }
  }
  return xdr_vector(xdrs, reinterpret_cast<char*>(component), kCount,
                    sizeof(u_int), filterOf(xdr_u_int));
}

bool_t filterOid(XDR* xdrs, XdrOid* oid) {
  return filterNumbers(xdrs, oid->component);
}

bool_t filterAid(XDR* xdrs, XdrAid* aid) {
  return filterNumbers(xdrs, aid->component);
}

bool_t filterError(XDR* xdrs, XdrError* error) {
  if (!xdr_u_int(xdrs, &error->index)) return FALSE;
  if (!xdr_int(xdrs, &error->code)) return FALSE;
  return TRUE;
}

bool_t filterKind(XDR* xdrs, XdrKind* kind) {
  if (!xdr_enum(xdrs, reinterpret_cast<enum_t*>(kind))) return FALSE;
  return TRUE;
}

bool_t filterValue(XDR* xdrs, XdrValue* value) {
  if (!filterKind(xdrs, &value->which)) return FALSE;
  switch (value->which) {
    case kXdrInteger:
      if (!xdr_int(xdrs, &value->is.integer)) return FALSE;
      break;
    case kXdrCounter:
      if (!xdr_u_int(xdrs, &value->is.bits)) return FALSE;
      break;
    case kXdrText:
      if (!xdr_string(xdrs, &value->is.text, ~0u)) return FALSE;
      break;
    case kXdrAddress:
      if (!xdr_u_int(xdrs, &value->is.bits)) return FALSE;
      break;
    case kXdrReal:
      if (!xdr_double(xdrs, &value->is.real)) return FALSE;
      break;
    case kXdrTruth:
      if (!xdr_bool(xdrs, &value->is.truth)) return FALSE;
      break;
    case kXdrObject:
      if (!filterOid(xdrs, &value->is.object)) return FALSE;
      break;
    default:
      return FALSE;
  }
  return TRUE;
}

bool_t filterAttribute(XDR* xdrs, XdrAttribute* attribute) {
  if (!filterAid(xdrs, &attribute->id)) return FALSE;
  if (!filterValue(xdrs, &attribute->held)) return FALSE;
  return TRUE;
}

bool_t filterAnswer(XDR* xdrs, XdrAnswer* answer) {
  if (!xdr_int(xdrs, &answer->status)) return FALSE;
  if (!xdr_u_int(xdrs, &answer->requestId)) return FALSE;
  if (!xdr_pointer(xdrs, bytesOf(&answer->principal), sizeof(XdrOid),
                   filterOf(filterOid)))
    return FALSE;
  if (!xdr_array(xdrs, bytesOf(&answer->errors.values), &answer->errors.length,
                 ~0u, sizeof(XdrError), filterOf(filterError)))
    return FALSE;
  if (!xdr_array(xdrs, bytesOf(&answer->attributes.values),
                 &answer->attributes.length, ~0u, sizeof(XdrAttribute),
                 filterOf(filterAttribute)))
    return FALSE;
  return TRUE;
}

// What a program does: memory from malloc, so that xdr_free() may free it.
char* copyOf(const std::string& text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void fillValue(const Item& item, XdrValue* value) {
  switch (item.kind) {
    case Kind::kInteger:
      value->which = kXdrInteger;
      value->is.integer = static_cast<int>(item.bits);
      break;
    case Kind::kCounter:
      value->which = kXdrCounter;
      value->is.bits = item.bits;
      break;
    case Kind::kShortText:
    case Kind::kLongText:
      value->which = kXdrText;
      value->is.text = copyOf(item.text);
      break;
    case Kind::kAddress:
      value->which = kXdrAddress;
      value->is.bits = item.bits;
      break;
    case Kind::kReal:
      value->which = kXdrReal;
      value->is.real = item.real;
      break;
    case Kind::kTruth:
      value->which = kXdrTruth;
      value->is.truth = static_cast<bool_t>(item.bits);
      break;
    case Kind::kObject:
      value->which = kXdrObject;
      for (unsigned i = 0; i < item.object.size(); i++)
        value->is.object.component[i] = item.object[i];
      break;
  }
}

void addValue(const XdrValue& value, Checksum* sum) {
  switch (value.which) {
    case kXdrInteger:
      return sum->add(static_cast<std::uint32_t>(value.is.integer));
    case kXdrCounter:
    case kXdrAddress:
      return sum->add(value.is.bits);
    case kXdrText:
      return sum->addText(value.is.text, std::strlen(value.is.text));
    case kXdrReal:
      return sum->addReal(value.is.real);
    case kXdrTruth:
      return sum->add(static_cast<std::uint32_t>(value.is.truth));
    case kXdrObject:
      for (const u_int number : value.is.object.component) sum->add(number);
  }
}

void readValue(const XdrValue& value, Item* item) {
  switch (value.which) {
    case kXdrInteger:
      item->kind = Kind::kInteger;
      item->bits = static_cast<std::uint32_t>(value.is.integer);
      break;
    case kXdrCounter:
      item->kind = Kind::kCounter;
      item->bits = value.is.bits;
      break;
    case kXdrText:
      item->text = value.is.text;
      item->kind =
          item->text.size() == kLongText ? Kind::kLongText : Kind::kShortText;
      break;
    case kXdrAddress:
      item->kind = Kind::kAddress;
      item->bits = value.is.bits;
      break;
    case kXdrReal:
      item->kind = Kind::kReal;
      item->real = value.is.real;
      break;
    case kXdrTruth:
      item->kind = Kind::kTruth;
      item->bits = static_cast<std::uint32_t>(value.is.truth);
      break;
    case kXdrObject:
      item->kind = Kind::kObject;
      for (unsigned i = 0; i < item->object.size(); i++)
        item->object[i] = value.is.object.component[i];
      break;
  }
}

void release(XdrAnswer* answer) {
  xdr_free(filterOf(filterAnswer), reinterpret_cast<char*>(answer));
}

class Xdr final : public System {
 public:
  explicit Xdr(const Content& content)
      : content_(content), answer_(fromNumbers()) {
    bytes_.resize(128 * (content.items.size() + 1));
    used_ = encodeAnswer();
    if (used_ == 0) stop("XDR does not encode");
  }
  ~Xdr() override { release(&answer_); }
  Xdr(const Xdr&) = delete;
  Xdr& operator=(const Xdr&) = delete;

  void build() override {
    XdrAnswer answer = fromNumbers();
    benchmark::DoNotOptimize(answer);
    release(&answer);
  }

  void buildFromNames() override {
    XdrAnswer answer =
        make([](const Item& item) { return parseName(item.name); });
    benchmark::DoNotOptimize(answer);
    release(&answer);
  }

  void encode() override {
    u_int used = encodeAnswer();
    benchmark::DoNotOptimize(used);
    benchmark::ClobberMemory();
  }

  void decode() override {
    XdrAnswer answer = {};
    bool_t done = decodeAnswer(&answer);
    benchmark::DoNotOptimize(done);
    benchmark::DoNotOptimize(answer);
    release(&answer);
  }

  std::uint64_t decodeAndRead() override {
    XdrAnswer answer = {};
    decodeAnswer(&answer);
    Checksum sum;
    sum.add(static_cast<std::uint64_t>(answer.status));
    sum.add(answer.requestId);
    for (u_int i = 0; i < answer.attributes.length; i++) {
      const XdrAttribute& attribute = answer.attributes.values[i];
      for (const u_int number : attribute.id.component) sum.add(number);
      addValue(attribute.held, &sum);
    }
    release(&answer);
    return sum.sum();
  }

  void print() override { stop("XDR does not print"); }

  std::string bytes() override { return {bytes_.data(), used_}; }

  Content read() override {
    XdrAnswer answer = {};
    if (!decodeAnswer(&answer)) stop("XDR does not decode");
    Content content;
    content.status = answer.status;
    content.requestId = answer.requestId;
    for (u_int i = 0; i < answer.attributes.length; i++) {
      const XdrAttribute& attribute = answer.attributes.values[i];
      const u_int* id = attribute.id.component;
      content.items.push_back(namedItem({id[0], id[1], id[2]}));
      readValue(attribute.held, &content.items.back());
    }
    release(&answer);
    return content;
  }

 private:
  template <class IdOf>
  XdrAnswer make(IdOf idOf) {
    XdrAnswer answer = {};
    answer.status = content_.status;
    answer.requestId = content_.requestId;
    auto* at = static_cast<XdrAttribute*>(
        std::malloc(content_.items.size() * sizeof(XdrAttribute)));
    answer.attributes.values = at;
    answer.attributes.length = static_cast<u_int>(content_.items.size());
    for (const Item& item : content_.items) {
      const AttributeId id = idOf(item);
      for (unsigned i = 0; i < id.size(); i++) at->id.component[i] = id[i];
      fillValue(item, &at->held);
      at++;
    }
    return answer;
  }
  XdrAnswer fromNumbers() {
    return make([](const Item& item) {
      return AttributeId{kClass[0], kClass[1], item.number};
    });
  }

  u_int encodeAnswer() {
    XDR xdrs;
    xdrmem_create(&xdrs, bytes_.data(), static_cast<u_int>(bytes_.size()),
                  XDR_ENCODE);
    return filterAnswer(&xdrs, &answer_) ? xdr_getpos(&xdrs) : 0;
  }
  bool_t decodeAnswer(XdrAnswer* answer) {
    XDR xdrs;
    xdrmem_create(&xdrs, bytes_.data(), used_, XDR_DECODE);
    return filterAnswer(&xdrs, answer);
  }

  const Content content_;
  XdrAnswer answer_;
  std::vector<char> bytes_;
  u_int used_ = 0;
};

}  // namespace

std::unique_ptr<System> makeXdr(const Content& content) {
  return std::make_unique<Xdr>(content);
}

}  // namespace ostrel::bench

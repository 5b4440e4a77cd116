@0xb4f2c6d01a5e9837;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("ostrel::bench::capnproto");

struct ObjectId {
  a @0 :UInt32;
  b @1 :UInt32;
  c @2 :UInt32;
  d @3 :UInt32;
}

struct Error {
  index @0 :UInt32;
  code @1 :Int32;
}

struct Attribute {
  a @0 :UInt32;
  b @1 :UInt32;
  c @2 :UInt32;
  union {
    integer @3 :Int32;
    counter @4 :UInt32;
    text @5 :Text;
    address @6 :UInt32;
    real @7 :Float64;
    truth @8 :Bool;
    object @9 :ObjectId;
  }
}

struct Answer {
  status @0 :Int32;
  requestId @1 :UInt32;
  principal @2 :ObjectId;
  errors @3 :List(Error);
  attributes @4 :List(Attribute);
}

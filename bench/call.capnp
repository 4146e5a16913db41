# The service that bench/call_capnp.cpp measures.
@0xd1a5c4b3f2e19807;

interface Echo {
  echo @0 (data :Data) -> (data :Data);
}

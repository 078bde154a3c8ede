// The explanation of a frame, on a byte that chooses how it is written, and the bytes themselves.
#include "dispatch/explain.h"
#include "dispatch/notation.h"
#include "fuzz/fuzz.h"

namespace mvsms::fuzz {
namespace {

void Run(Input input) {
  const bool from_log = (input.Byte() & 1) != 0;
  const std::string written = input.Rest();
  const std::string bytes = from_log ? dispatch::BytesInLog(written) : written;
  Require(from_log || dispatch::BytesOfNotation(dispatch::NotationOf(bytes)) == bytes,
          "the notation loses nothing");

  std::string explained;
  for (const dispatch::Explanation& part : dispatch::Explain(bytes)) {
    Require(!part.what.empty() && !part.fields.empty(), "every part is named");
    Require(IsUtf8(part.what), "the name is a text");
    for (const dispatch::ExplainedField& field : part.fields) {
      explained += field.bytes;
      Require(!field.name.empty() && IsUtf8(field.name) && IsUtf8(field.meaning),
              "a field is named and explained in texts");
    }
    for (const std::string& fault : part.faults) Require(IsUtf8(fault), "a fault is a text");
  }
  Require(explained == bytes, "every byte is explained once, in its place");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mvsms::fuzz::Run({data, size});
  return 0;
}

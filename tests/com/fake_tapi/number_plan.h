// The telephone network of the substitute: what becomes of a call is told by the number dialled, so
// that a test chooses it with a service's number and needs no other way into the service.
//
//   0      rings for ever, and tells of it without a pause, on the service's own thread
//   1c     disconnected with cause c: 12 busy, 13 unknown number, 14 no answer, 16 rejected ...
//   2pp    connected; the centre is behind the port COMpp
//   3      rings for ever
//   4pp    connected as 2pp, and the far side hangs up three seconds later
//   5pp    connected as 2pp, but the port is not handed over
//   6pp    as 2pp, after an answer that takes two seconds
//   7n     as the number n, with all events on the service's own thread
//   8pp    as 2pp; the record of the port comes with the header that a VARSTRING has
//   91     no call can be created (E_OUTOFMEMORY)
//   92     the call cannot be started (TAPI_E_TIMEOUT)
#pragma once

#include <cstdint>
#include <string>

namespace mvsms::fake_tapi {

/// What precedes a number in its dialable form: the tone-dialling mark.
inline constexpr char kDialPrefix = 'T';

inline constexpr std::uint32_t kRingTime = 200;       // ms, from dialling to the outcome
inline constexpr std::uint32_t kLongRingTime = 2000;  // ms
inline constexpr std::uint32_t kCallTime = 3000;      // ms, of a call that the far side ends

struct Outcome {
  std::int32_t create_result = 0;  // HRESULT of CreateCall
  std::int32_t start_result = 0;   // HRESULT of Connect
  bool decided = true;             // false: rings for ever
  std::int32_t cause = 7;          // of a call that fails
  std::string port;                // "COM21"; empty: the call fails
  bool hands_over = true;          // the port is given to the program
  bool with_header = false;        // the record of the port
  bool far_end_hangs_up = false;
  bool on_service_thread = false;  // the events
  bool talks = false;              // tells of its state again and again
  std::uint32_t ring_time = kRingTime;
};

/// The outcome of dialling `dialable`, with its prefix. An unknown number fails (cause 3).
Outcome Dial(const std::string& dialable);

}  // namespace mvsms::fake_tapi

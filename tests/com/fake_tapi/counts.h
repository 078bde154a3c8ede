// What a test learns from the substitute besides its behaviour. Read by GetProcAddress from the
// DLL.
#pragma once

namespace mvsms::fake_tapi {

struct Counts {
  long objects;        // COM objects alive
  long sessions;       // initialised and not shut down
  long registrations;  // for call notifications, not given back
  long open_ports;     // handed over and not closed by the program
  long delivered;      // events
  long filtered;       // events that the program's filter held back
};

/// Exported as "FakeTapiCounts".
using CountsFunction = void (*)(Counts*);

}  // namespace mvsms::fake_tapi

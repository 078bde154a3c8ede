// A session of the telephony service for the length of one question.
#include "engine/modem_list.h"

#include "base/texts.h"
#include "media/tapiobject.h"

namespace mvsms {

std::vector<std::string> ModemNames(Platform& platform) {
  TapiObject tapi(platform.telephony(), platform.loop(), platform.clock());
  tapi.Init();
  return Split(tapi.GetLines(), '\t');
}

}  // namespace mvsms

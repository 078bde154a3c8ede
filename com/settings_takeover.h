// Settings of earlier set-ups, brought to where all hosts see them.
#pragma once

namespace mvsms::com {

/// Takes over the profiles that 32-bit hosts had in a key of their own (redirected_profiles.h), and
/// writes what was done to the send log beside the component. Without the right to do so it does
/// nothing. Cheap when there is nothing to take over. Never throws.
void TakeOverSettings() noexcept;

}  // namespace mvsms::com

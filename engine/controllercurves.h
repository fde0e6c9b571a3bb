#pragma once
// Response curves of incoming MIDI controllers.

namespace torvo {

/// Aftertouch pressure 0..1 to the Aftertouch source: rises slowly so light pressure does
/// little, then steeply towards full pressure.
float aftertouchCurve(float value);

} // namespace torvo

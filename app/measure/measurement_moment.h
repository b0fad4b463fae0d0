#pragma once

namespace tovra::measure {

// Which effects the interface plays when a run's numbers land.
struct MeasurementMoment {
  bool animatesNumbers = false;
  bool showsGlow = false;
  bool playsHaptic = false;
  bool operator==(const MeasurementMoment&) const = default;

  // Everything moves unless the desktop asks for reduced motion; a haptic is asked for either way, since
  // it moves nothing on screen.
  static MeasurementMoment forMotion(bool reduceMotion) { return {!reduceMotion, !reduceMotion, true}; }
};

// Plays the haptic of a moment, so that it can be replaced (tests, machines without haptics).
class MeasurementHapticPerforming {
 public:
  virtual ~MeasurementHapticPerforming() = default;
  virtual void perform() = 0;
};

// A desktop without haptic hardware: the moment is felt by nobody, and nothing fails.
class NoHaptics final : public MeasurementHapticPerforming {
 public:
  void perform() override {}
};

}  // namespace tovra::measure

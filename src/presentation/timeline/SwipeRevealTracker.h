#pragma once

#include <functional>

namespace corvane {

// The horizontal two-finger swipe that slides the timeline's rows aside to show their times.
// A widget forwards its wheel events (phases mapped to gestureBegan/scrolled/gestureEnded) and
// drives spring() from a 1/60 s timer while isSpringRunning(); it shifts its rows by offset()
// whenever onChange fires. `dx` is positive in the revealing direction.
class SwipeRevealTracker
{
public:
    enum class Phase { idle, evaluating, tracking, passing };

    static constexpr double kDecisionDistance = 4;
    static constexpr double kDominance = 1.4;
    static constexpr double kFreeTravel = 60;
    static constexpr double kStiffness = 220;
    static constexpr double kDamping = 24;
    static constexpr double kSpringStep = 1.0 / 60;

    std::function<void(double offset)> onChange;

    Phase phase() const { return m_phase; }
    double offset() const { return m_offset; }
    bool isSpringRunning() const { return m_springRunning; }

    void gestureBegan();
    // One delta of the gesture. True when the swipe took it; false when it belongs to the
    // list's vertical scrolling. Momentum deltas and imprecise devices (mouse wheels) never
    // start a swipe.
    bool scrolled(double dx, double dy, bool precise = true, bool momentum = false);
    void gestureEnded();
    // One tick of the spring back to 0; stops when offset and velocity are both under 0.5.
    void spring(double seconds = kSpringStep);

    // The offset for a raw drag position: free up to 60, then a rubber band.
    static double rubberBand(double position);

private:
    void setOffset(double offset);

    Phase m_phase = Phase::idle;
    double m_dx = 0, m_dy = 0;
    double m_offset = 0;
    double m_dragStartOffset = 0;
    double m_totalDragDelta = 0;
    double m_velocity = 0;
    bool m_springRunning = false;
};

} // namespace corvane

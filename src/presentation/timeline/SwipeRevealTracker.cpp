#include "presentation/timeline/SwipeRevealTracker.h"

#include <cmath>

namespace corvane {

double SwipeRevealTracker::rubberBand(double position)
{
    if (position <= 0)
        return 0;
    if (position <= kFreeTravel)
        return position;
    return kFreeTravel + kFreeTravel * (1 - 1 / (((position - kFreeTravel) / kFreeTravel) * 0.55 + 1));
}

void SwipeRevealTracker::setOffset(double offset)
{
    m_offset = offset;
    if (onChange)
        onChange(offset);
}

void SwipeRevealTracker::gestureBegan()
{
    m_phase = Phase::evaluating;
    m_dx = m_dy = 0;
}

bool SwipeRevealTracker::scrolled(double dx, double dy, bool precise, bool momentum)
{
    switch (m_phase) {
    case Phase::idle:
        return false;
    case Phase::passing:
        return false;
    case Phase::evaluating:
        if (!precise || momentum) {
            m_phase = Phase::passing;
            return false;
        }
        m_dx += dx;
        m_dy += dy;
        if (std::abs(m_dx) >= kDecisionDistance && std::abs(m_dx) > kDominance * std::abs(m_dy)) {
            m_phase = Phase::tracking;
            m_springRunning = false;
            m_velocity = 0;
            m_dragStartOffset = m_offset;
            m_totalDragDelta = 0;
            return true;
        }
        if (std::abs(m_dy) >= kDecisionDistance && std::abs(m_dy) > kDominance * std::abs(m_dx)) {
            m_phase = Phase::passing;
            return false;
        }
        return true; // undecided: neither side moves yet
    case Phase::tracking:
        m_totalDragDelta += dx;
        setOffset(rubberBand(m_dragStartOffset + m_totalDragDelta));
        return true;
    }
    return false;
}

void SwipeRevealTracker::gestureEnded()
{
    const bool tracked = m_phase == Phase::tracking;
    m_phase = Phase::idle;
    if (tracked && m_offset != 0) {
        m_velocity = 0;
        m_springRunning = true;
    }
}

void SwipeRevealTracker::spring(double seconds)
{
    if (!m_springRunning)
        return;
    const double acceleration = -kStiffness * m_offset - kDamping * m_velocity;
    m_velocity += acceleration * seconds;
    double next = m_offset + m_velocity * seconds;
    if (std::abs(next) < 0.5 && std::abs(m_velocity) < 0.5) {
        next = 0;
        m_velocity = 0;
        m_springRunning = false;
    }
    setOffset(next);
}

} // namespace corvane

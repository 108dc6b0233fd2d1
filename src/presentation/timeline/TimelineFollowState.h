#pragma once

#include <utility>

namespace corvane {

// Whether the timeline follows the newest message. It starts following; a scroll by the user
// away from the bottom stops it (the view then offers a jump-to-recent button) and reaching
// the bottom again resumes it. Scrolls the program makes run inside scrollProgrammatically()
// and never count as the user's.
class TimelineFollowState
{
public:
    bool isUserFollowing() const { return m_following; }
    bool showsJumpButton() const { return !m_following; }
    bool isProgrammaticScroll() const { return m_programmatic; }

    // After every scroll of the view; `atBottom` when the end of the list is visible.
    void viewScrolled(bool atBottom)
    {
        if (!m_programmatic)
            m_following = atBottom;
    }

    template <typename Scroll>
    void scrollProgrammatically(Scroll &&scroll)
    {
        const bool outer = std::exchange(m_programmatic, true);
        std::forward<Scroll>(scroll)();
        m_programmatic = outer;
    }

    // After the model reported an update: scroll to the end when this says so.
    bool shouldScrollToEnd() const { return m_following; }

    // Another chat is shown.
    void reset() { m_following = true; }

private:
    bool m_following = true;
    bool m_programmatic = false;
};

} // namespace corvane

// The latest batches of a stream, as they came. They are shared, not copied, so that to keep them costs next
// to nothing. A plain value, used on the GUI thread.
#pragma once

#include "UiTimeTag.h"

#include <cstdint>
#include <deque>
#include <vector>

namespace qorn::timetagger::gui {

class RecentTags {
public:
    // Older batches go as soon as the others hold so many tags.
    static constexpr qsizetype kEnoughTags = 65536;

    void clear();
    void addBatch(const QList<UiTimeTag>& tags);
    // Times in ps of the tags of an input, 0 to 3, in stream order.
    std::vector<std::int64_t> tagsOf(int channel) const;

private:
    std::deque<QList<UiTimeTag>> batches;
    qsizetype held = 0;
};

} // namespace qorn::timetagger::gui

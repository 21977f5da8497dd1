// Where the tags of one capture went, stage by stage: each stage accounts for every tag that reached it,
// while the capture runs and at its end. A plain value.
#pragma once

#include <QtGlobal>

namespace qorn::timetagger::gui {

struct UiTagFlow {
    // From the instrument or the other host to the capture loop.
    struct Source {
        quint64 received = 0;  // decoded, or come from the other host
        quint64 pulled = 0;    // taken by the loop
        quint64 dropped = 0;   // thrown away because the reader's queue was full: these are nowhere
        quint64 waiting = 0;   // in the reader's queue now
        quint64 discarded = 0; // in the reader's queue when the capture ended
        // Bytes that the decoder could not read: of an instrument's stream those behind its first tag, of
        // another host's the piece with the invalid record. How many tags they held is not known, so these
        // stand beside the balance.
        quint64 skippedBytes = 0;
        bool balances() const { return received == pulled + dropped + waiting + discarded; }
        bool operator==(const Source&) const = default;
    };

    // From the loop to the recording. All 0 without one.
    struct Recording {
        quint64 offered = 0;
        quint64 recorded = 0; // in the file
        quint64 afterEnd = 0; // came after the maximum duration
        quint64 cut = 0;      // by an error: on the way to the file, or to come
        quint64 waiting = 0;  // on the way to the file now
        bool balances() const { return offered == recorded + afterEnd + cut + waiting; }
        bool operator==(const Recording&) const = default;
    };

    // From the loop to the relay server. All 0 without one.
    struct Relay {
        quint64 offered = 0;
        quint64 published = 0; // taken by the server, which counts by itself what it drops later
        quint64 refused = 0;   // by a server that has too much queued
        quint64 unwanted = 0;  // there was no client
        quint64 cut = 0;       // by an error
        bool balances() const { return offered == published + refused + unwanted + cut; }
        bool operator==(const Relay&) const = default;
    };

    // From the loop to the GUI thread.
    struct Gui {
        quint64 offered = 0;
        quint64 sent = 0;      // queued to the GUI thread
        quint64 thinned = 0;   // beyond the rate budget
        quint64 backlog = 0;   // the GUI thread had too much queued
        quint64 waiting = 0;   // in the partly filled batch now
        quint64 discarded = 0; // when the capture ended: in the partly filled batch, or recorded behind it
        quint64 cut = 0;       // by an error
        bool balances() const { return offered == sent + thinned + backlog + waiting + discarded + cut; }
        bool operator==(const Gui&) const = default;
    };

    // What the GUI thread did with what was queued to it.
    struct Window {
        quint64 sent = 0;
        quint64 shown = 0;
        quint64 inFlight = 0; // queued now
        quint64 outdated = 0; // came when another capture had begun
        bool balances() const { return sent == shown + inFlight + outdated; }
        bool operator==(const Window&) const = default;
    };

    quint64 capture = 0; // tells captures apart
    bool ended = false;
    quint64 masked = 0; // of another host's tags: on channels that recording and GUI do not get
    Source source;
    Recording recording;
    Relay relay;
    Gui gui;
    Window window;

    // Every stage accounts for all that reached it.
    bool balances() const {
        return source.balances() && recording.balances() && relay.balances() && gui.balances() &&
               window.balances();
    }
    bool operator==(const UiTagFlow&) const = default;
};

} // namespace qorn::timetagger::gui

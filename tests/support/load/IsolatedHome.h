// A home folder of a program's own, gone at its end, so that it neither reads nor leaves an operator's
// settings. Stands before the application object, which asks for the places.
#pragma once

#include <QTemporaryDir>

namespace qorn::bench {

class IsolatedHome {
public:
    // Sets the home and its places in the environment, and the offscreen platform unless another one is asked
    // for.
    IsolatedHome();

    QString filePath(const QString& name) const { return folder.filePath(name); }

private:
    QTemporaryDir folder;
};

} // namespace qorn::bench

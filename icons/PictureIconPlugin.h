// Lets the toolkit draw files with the suffix "picture" as icons of ours: so a style sheet names its
// pictures, whose icons are made anew with each change of the theme.
//
// A static plugin: a program has it when a file of it says Q_IMPORT_PLUGIN(PictureIconPlugin).
#pragma once

#include <QIconEnginePlugin>

namespace qorn::timetagger::gui {

class PictureIconPlugin : public QIconEnginePlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QIconEngineFactoryInterface_iid FILE "PictureIconPlugin.json")

public:
    // The caller owns it.
    QIconEngine* create(const QString& path) override;
};

} // namespace qorn::timetagger::gui

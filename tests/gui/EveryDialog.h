// Every dialog of the application, each as it comes up, with the contents that the operator first sees.
#pragma once

#include <QDialog>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qorn::testing {

struct NamedDialog {
    std::string name;
    std::function<std::unique_ptr<QDialog>()> make;
};

std::vector<NamedDialog> everyDialog();

// Shows the dialog, calls `look` for each page of it, and closes it.
void lookThrough(const NamedDialog& named, const std::function<void(QDialog& dialog)>& look);

} // namespace qorn::testing

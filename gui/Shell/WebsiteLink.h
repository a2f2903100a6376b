#pragma once

#include <QUrl>

#include <functional>

class QWidget;

namespace tarnel::gui {

// Opens `url` with `open` (the desktop's browser); when nothing opened it, says so and shows the
// address to copy. Answers whether a browser took it.
bool openWebsite(QWidget* parent, const QUrl& url, const std::function<bool(const QUrl&)>& open);

} // namespace tarnel::gui

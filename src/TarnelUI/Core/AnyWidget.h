#pragma once

#include "TarnelUI/Core/BaseWidget.h"

#include <stdexcept>

namespace tarnel::ui {

// A list element whose "kind" names no widget this build knows.
struct UnknownWidgetKindError : ModelDecodingError {
    using ModelDecodingError::ModelDecodingError;
};

// The envelope of one element of a mixed widget list: {"kind": ..., "widget": {...}}.
struct AnyWidget {
    WidgetPointer widget;

    Json encode() const;
    // A known kind whose settings no longer decode comes back as a new widget of that kind,
    // with one error line; an unknown kind throws UnknownWidgetKindError.
    static AnyWidget decode(const Json& element);
};

// A new widget of `kind`: fresh id, panel context, the settings of a new widget.
WidgetPointer makeNewWidget(WidgetKind kind);

} // namespace tarnel::ui

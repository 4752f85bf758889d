/// The library's one exported function.
#include "plugin/gmail.h"

/// A new plug-in object without a parent; the host owns it.
extern "C" Q_DECL_EXPORT gmail *create_object();

gmail *create_object()
{
    return new gmail(nullptr);
}

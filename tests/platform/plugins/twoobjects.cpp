#include <lxwidget/lxpluginbaseobject.h>

namespace {

// Records the order of initialisation where the host can read it.
class CountingObject : public LxPluginBaseObject
{
public:
    explicit CountingObject(const QString &name) { setObjectName(name); }

    void initialize() override
    {
        setPluginObjectPropety(QStringLiteral("initialized"),
                               getPluginObjectPropety(QStringLiteral("initialized")).toInt() + 1);
    }
};

CountingObject first(QStringLiteral("first"));
CountingObject second(QStringLiteral("second"));

} // namespace

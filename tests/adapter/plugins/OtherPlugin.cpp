// A Qt plug-in that makes no backends.

#include <QtCore/QObject>
#include <QtCore/QtPlugin>

class OtherPlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "Correction.Test.Other/1")
};

#include "OtherPlugin.moc"

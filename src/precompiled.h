#pragma once

// The headers that nearly every file needs and that hardly ever change.
#include <QByteArray>
#include <QCoroTask>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

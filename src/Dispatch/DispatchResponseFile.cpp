#include "Dispatch/DispatchResponseFile.h"

namespace Keelhaven {

void RecordTable<DispatchResponseFile::TaskSpec>::decoded(DispatchResponseFile::TaskSpec &task,
                                                          const JSONObject &object)
{
    const JSONValue *plugins = object.find(u"plugins");
    if (const auto single = plugins ? plugins->stringValue() : std::nullopt)
        task.plugins = QStringList{*single};
    QStringList named;
    for (const QString &plugin : std::as_const(task.plugins)) {
        if (const QString id = plugin.trimmed(); !id.isEmpty())
            named.append(id);
    }
    task.plugins = named;
    if (task.model) {
        task.model = task.model->trimmed();
        if (task.model->isEmpty())
            task.model.reset();
    }
}

} // namespace Keelhaven

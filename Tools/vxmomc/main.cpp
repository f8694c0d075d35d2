#include "VXFetchRequest.h"
#include "VXManagedObjectModel.h"
#include "VXModelParser.h"
#include "VXModelPrinter.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

int complain(const QString &text, int status = failed)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(text));
    return status;
}

// As compilers write it, so that editors find the place.
int complain(const QString &path, QList<VXModelProblem> problems)
{
    std::stable_sort(problems.begin(), problems.end(),
                     [](const VXModelProblem &a, const VXModelProblem &b) { return a.line < b.line; });
    for (const VXModelProblem &problem : problems)
        complain(u"%1:%2: error: %3"_s.arg(path).arg(problem.line).arg(problem.text));
    return failed;
}

int show(const QString &text)
{
    std::fputs(qUtf8Printable(text), stdout);
    return std::fflush(stdout) == 0 ? 0 : complain(u"standard output cannot be written"_s);
}

/**
 * What a file holds, compiled or in source, behind the entities that it imports; `status` is not 0 when it cannot be used, which
 * has been said.
 */
VXModelDefinition read(const QString &path, const QStringList &imports, int &status)
{
    VXModelDefinition whole;
    for (const QString &import : imports) {
        if (status == 0)
            whole.entities += read(import, {}, status).entities;
    }
    if (status != 0)
        return {};
    if (path.endsWith(".mom"_L1)) {
        VXError error;
        const VXManagedObjectModel::Ptr model = VXManagedObjectModel::modelWithContentsOfFile(path, &error);
        status = model ? 0 : complain(error.description());
        if (model)
            whole.entities += model->definition().entities;
        return whole;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        status = complain(u"%1: %2"_s.arg(path, file.errorString()));
        return {};
    }
    QList<VXModelProblem> problems;
    whole.entities += VXParseModel(file.readAll(), &problems).entities;
    if (problems.isEmpty()) // what is missing for a mistake would be missed again
        problems = VXCheckModel(whole);
    if (problems.isEmpty())
        problems = VXCheckFetchTemplates(*VXManagedObjectModel::modelWithDefinition(whole));
    status = problems.isEmpty() ? 0 : complain(path, problems);
    return whole;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"vxmomc"_s);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Checks an object model and compiles it."_s);
    parser.addHelpOption();
    parser.addPositionalArgument(u"FILE"_s, u"The model: source (.vxmodel) or compiled (.mom)."_s);
    const QCommandLineOption output({u"o"_s, u"output"_s}, u"Write the compiled model to FILE."_s, u"FILE"_s);
    const QCommandLineOption print(u"print"_s, u"Show the model as source."_s);
    const QCommandLineOption graph(u"graph"_s, u"Show the model as a graph in Graphviz's language."_s);
    const QCommandLineOption imports(u"import"_s,
                                     u"Take in the entities of the model FILE, which the model mentions."_s, u"FILE"_s);
    parser.addOptions({output, print, graph, imports});
    parser.process(application);
    if (parser.positionalArguments().size() != 1)
        return complain(parser.helpText().trimmed(), wrongUsage);

    int status = 0;
    const VXModelDefinition definition =
        read(parser.positionalArguments().constFirst(), parser.values(imports), status);
    if (status != 0)
        return status;
    if (parser.isSet(output)) {
        VXError error;
        const VXManagedObjectModel::Ptr model = VXManagedObjectModel::modelWithDefinition(definition, &error);
        if (!model || !model->writeToFile(parser.value(output), &error))
            return complain(error.description());
    }
    if (parser.isSet(print))
        return show(VXModelSource(definition));
    return parser.isSet(graph) ? show(VXModelGraph(definition)) : 0;
}

#include "VXModelParser.h"

#include "VXModelScanner.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonValue>
#include <QtCore/QStringDecoder>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

QStringList typeNames()
{
    QStringList names;
    for (int type = 0; type <= int(VXAttributeType::PropertyList); ++type)
        names.append(VXAttributeTypeName(VXAttributeType(type)));
    return names;
}

using Token = VXModelToken;

/** An error in the source; caught where parsing can continue. */
struct Mistake
{
    VXModelProblem problem;
};

class Parser
{
public:
    Parser(QStringView source, QList<VXModelProblem> &problems) : _scanner(source), _problems(problems) { advance(); }

    VXModelDefinition run()
    {
        VXModelDefinition model;
        while (_token.kind != Token::Kind::End) {
            try {
                model.entities.append(entity());
            } catch (const Mistake &mistake) {
                _problems.append(mistake.problem);
                skipTo([this] { return _token.isWord(u"entity") || _token.isWord(u"abstract"); });
            }
        }
        return model;
    }

private:
    void advance() { _token = _scanner.next(); }

    [[noreturn]] void fail(const QString &text) const { throw Mistake{{_token.line, text}}; }

    [[noreturn]] void failExpecting(const QString &what) const
    {
        if (_token.kind == Token::Kind::Bad)
            fail(_token.text);
        fail(u"%1 expected, not %2"_s.arg(what,
                                          _token.kind == Token::Kind::End ? u"the end"_s : u'"' + _token.text + u'"'));
    }

    template <class Condition>
    void skipTo(Condition isThere)
    {
        do {
            advance();
        } while (_token.kind != Token::Kind::End && !isThere());
    }

    bool takeMark(QStringView mark)
    {
        const bool isThere = _token.isMark(mark);
        if (isThere)
            advance();
        return isThere;
    }

    bool takeWord(QStringView word)
    {
        const bool isThere = _token.isWord(word);
        if (isThere)
            advance();
        return isThere;
    }

    void expectMark(const QString &mark)
    {
        if (!takeMark(mark))
            failExpecting(u'"' + mark + u'"');
    }

    QString take(Token::Kind kind, const QString &what)
    {
        if (_token.kind != kind)
            failExpecting(what);
        const QString text = std::exchange(_token.text, {});
        advance();
        return text;
    }

    QString name(const QString &what) { return take(Token::Kind::Word, what); }

    VXEntityDefinition entity()
    {
        VXEntityDefinition entity;
        entity.isAbstract = takeWord(u"abstract");
        entity.line = _token.line;
        if (!takeWord(u"entity"))
            failExpecting(u"\"entity\""_s);
        entity.name = name(u"the entity's name"_s);
        if (takeMark(u":"))
            entity.superentity = name(u"the name of the entity it inherits from"_s);
        if (takeMark(u"(")) {
            entity.className = name(u"the class of its objects"_s);
            expectMark(u")"_s);
        }
        expectMark(u"{"_s);
        while (!takeMark(u"}")) {
            try {
                statement(entity);
            } catch (const Mistake &mistake) {
                _problems.append(mistake.problem);
                skipStatement();
            }
        }
        return entity;
    }

    // Skips to after the next ";" or to the end of the entity, whichever comes first.
    void skipStatement()
    {
        while (_token.kind != Token::Kind::End && !_token.isMark(u"}")) {
            if (takeMark(u";"))
                return;
            advance();
        }
        if (_token.kind == Token::Kind::End)
            throw Mistake{{_token.line, u"the entity does not end: \"}\" is missing"_s}};
    }

    void statement(VXEntityDefinition &entity)
    {
        const int line = _token.line;
        if (takeWord(u"attribute"))
            entity.attributes.append(attribute(line));
        else if (takeWord(u"relationship"))
            entity.relationships.append(relationship(line));
        else if (takeWord(u"fetch"))
            entity.fetchTemplates.append(fetchTemplate(line));
        else if (takeWord(u"index"))
            entity.indexes.append(index(line));
        else
            failExpecting(u"\"attribute\", \"relationship\", \"fetch\", \"index\" or \"}\""_s);
    }

    VXAttributeDefinition attribute(int line)
    {
        VXAttributeDefinition attribute;
        attribute.line = line;
        attribute.name = name(u"the attribute's name"_s);
        expectMark(u":"_s);
        const QString typeName = name(u"the attribute's type"_s);
        const std::optional<VXAttributeType> type = VXAttributeTypeFromName(typeName);
        if (!type)
            fail(u"\"%1\" is no type of attributes; there are %2"_s.arg(typeName, typeNames().join(", "_L1)));
        attribute.type = *type;
        while (!takeMark(u";")) {
            if (takeWord(u"optional"))
                attribute.isOptional = true;
            else if (takeWord(u"transient"))
                attribute.isTransient = true;
            else if (takeWord(u"indexed"))
                attribute.isIndexed = true;
            else if (takeMark(u"="))
                attribute.defaultValue = literal(*type);
            else
                failExpecting(u"\"optional\", \"transient\", \"indexed\", \"=\" or \";\""_s);
        }
        return attribute;
    }

    VXRelationshipDefinition relationship(int line)
    {
        VXRelationshipDefinition relationship;
        relationship.line = line;
        relationship.name = name(u"the relationship's name"_s);
        expectMark(u":"_s);
        relationship.destination = name(u"the entity it leads to"_s);
        relationship.isToMany = takeMark(u"[]");
        relationship.isOptional = relationship.isToMany;
        while (!takeMark(u";")) {
            if (takeWord(u"optional"))
                relationship.isOptional = true;
            else if (takeWord(u"transient"))
                relationship.isTransient = true;
            else if (takeWord(u"inverse"))
                relationship.inverse = name(u"the inverse's name"_s);
            else if (takeWord(u"delete"))
                relationship.deleteRule = deleteRule();
            else
                failExpecting(u"\"optional\", \"transient\", \"inverse\", \"delete\" or \";\""_s);
        }
        return relationship;
    }

    VXDeleteRule deleteRule()
    {
        const std::optional<VXDeleteRule> rule = VXDeleteRuleFromName(_token.text);
        if (!rule || _token.kind != Token::Kind::Word)
            failExpecting(u"\"nullify\", \"cascade\", \"deny\" or \"no-action\""_s);
        advance();
        return *rule;
    }

    VXFetchTemplateDefinition fetchTemplate(int line)
    {
        VXFetchTemplateDefinition fetchTemplate;
        fetchTemplate.line = line;
        fetchTemplate.name = name(u"the fetch template's name"_s);
        expectMark(u"="_s);
        fetchTemplate.predicate = take(Token::Kind::Text, u"a predicate in quotation marks"_s);
        expectMark(u";"_s);
        return fetchTemplate;
    }

    VXIndexDefinition index(int line)
    {
        VXIndexDefinition index{.properties = {}, .line = line};
        do {
            index.properties.append(name(u"the name of an attribute or relationship"_s));
        } while (takeMark(u","));
        expectMark(u";"_s);
        return index;
    }

    // A value in the notation of the type; a value that does not fit is found when the model is checked.
    QVariant literal(VXAttributeType type)
    {
        const Token token = std::exchange(_token, {});
        advance();
        switch (token.kind) {
        case Token::Kind::Number:
            return number(token);
        case Token::Kind::Text:
            return textLiteral(type, token);
        case Token::Kind::Word:
            if (token.text == "true"_L1 || token.text == "false"_L1)
                return token.text == "true"_L1;
            break;
        case Token::Kind::Bad:
            throw Mistake{{token.line, token.text}};
        default:
            break;
        }
        throw Mistake{{token.line,
                       u"\"%1\" is no value: a number, a text in quotation marks, true or false is"_s.arg(token.text)}};
    }

    static QVariant number(const Token &token)
    {
        bool isNumber = false;
        const qlonglong whole = token.text.toLongLong(&isNumber);
        if (isNumber)
            return whole;
        const double real = token.text.toDouble(&isNumber);
        if (!isNumber)
            throw Mistake{{token.line, u"\"%1\" is no number"_s.arg(token.text)}};
        return real;
    }

    static QVariant textLiteral(VXAttributeType type, const Token &token)
    {
        const auto failUnless = [&token](bool isGood, const QString &what) {
            if (!isGood)
                throw Mistake{{token.line, u"\"%1\" is no %2"_s.arg(token.text, what)}};
        };
        switch (type) {
        case VXAttributeType::Date: {
            const QDateTime date = QDateTime::fromString(token.text, Qt::ISODateWithMs);
            failUnless(date.isValid(), u"date (ISO 8601)"_s);
            return date.toUTC();
        }
        case VXAttributeType::Binary: {
            const auto decoded =
                QByteArray::fromBase64Encoding(token.text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            failUnless(bool(decoded), u"data (Base64)"_s);
            return *decoded;
        }
        case VXAttributeType::PropertyList: {
            const QJsonDocument document = QJsonDocument::fromJson(token.text.toUtf8());
            failUnless(!document.isNull(), u"JSON object or array"_s);
            return document.toVariant();
        }
        default:
            return token.text;
        }
    }

    VXModelScanner _scanner;
    Token _token;
    QList<VXModelProblem> &_problems;
};

} // namespace

VXModelDefinition VXParseModel(const QByteArray &source, QList<VXModelProblem> *problems)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(source);
    if (decoder.hasError()) {
        problems->append({1, u"the file is not in UTF-8"_s});
        return {};
    }
    return Parser(text, *problems).run();
}

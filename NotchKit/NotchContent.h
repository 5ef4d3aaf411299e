// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QObject>
#include <QPointer>
#include <QQmlComponent>
#include <QUrl>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

// One slot's content as the owner gives it: a QML file (or a component made with the
// notch's engine) and the initial properties to create it with. Items that declare
// `notchSection`, `notchStyle` or `surface` properties get them set as well.
class NotchContent {
    Q_GADGET
    QML_VALUE_TYPE(notchContent)
    Q_PROPERTY(QUrl source MEMBER source)
    Q_PROPERTY(QQmlComponent* component READ componentPointer)
    Q_PROPERTY(QVariantMap properties MEMBER properties)
    Q_PROPERTY(bool isEmpty READ isEmpty)
public:
    NotchContent() = default;
    NotchContent(QUrl source, QVariantMap properties = {})
        : source(std::move(source)), properties(std::move(properties)) {}
    NotchContent(QQmlComponent* component, QVariantMap properties = {})
        : component(component), properties(std::move(properties)) {}

    bool isEmpty() const { return source.isEmpty() && !component; }
    QQmlComponent* componentPointer() const { return component.data(); }

    QUrl source;
    QPointer<QQmlComponent> component;
    QVariantMap properties;
};

Q_DECLARE_METATYPE(NotchContent)

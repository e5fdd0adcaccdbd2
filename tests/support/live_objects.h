#pragma once

#include <QHash>
#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QObject>
#include <QtGlobal>

#include <algorithm>

// Qt's hooks for debuggers; the entries are those of Qt 5's private header qhooks_p.h.
extern Q_CORE_EXPORT quintptr qtHookData[];

// The QObjects of the process that were made since this one was and live on, whoever owns them. Not more
// than one at a time.
class LiveObjects
{
public:
    LiveObjects()
    {
        Q_ASSERT(qtHookData[c_version] >= 1 && s_objects == nullptr);
        s_objects = this;
        qtHookData[c_addQObject] = reinterpret_cast<quintptr>(&LiveObjects::added);
        qtHookData[c_removeQObject] = reinterpret_cast<quintptr>(&LiveObjects::removed);
    }
    ~LiveObjects()
    {
        qtHookData[c_addQObject] = 0;
        qtHookData[c_removeQObject] = 0;
        s_objects = nullptr;
    }
    Q_DISABLE_COPY(LiveObjects)

    // All that were made, also those that are gone.
    int made() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_made;
    }
    int count() const
    {
        const QMutexLocker lock(&m_mutex);
        return static_cast<int>(m_numbers.size());
    }
    // Those of a class, each as the how manieth object it was made, from 0 on, in this order. Only while
    // no thread but the caller's makes or deletes objects of this class.
    template <class Object>
    QList<int> numbersOf() const
    {
        const QMutexLocker lock(&m_mutex);
        QList<int> numbers;
        for (auto object = m_numbers.cbegin(); object != m_numbers.cend(); ++object) {
            if (qobject_cast<Object*>(object.key()) != nullptr)
                numbers.append(object.value());
        }
        std::sort(numbers.begin(), numbers.end());
        return numbers;
    }

private:
    static constexpr int c_version = 0;
    static constexpr int c_addQObject = 3;
    static constexpr int c_removeQObject = 4;

    static void added(QObject* object)
    {
        const QMutexLocker lock(&s_objects->m_mutex);
        s_objects->m_numbers.insert(object, s_objects->m_made++);
    }
    static void removed(QObject* object)
    {
        const QMutexLocker lock(&s_objects->m_mutex);
        s_objects->m_numbers.remove(object);
    }

    static inline LiveObjects* s_objects = nullptr;
    mutable QMutex m_mutex;
    QHash<QObject*, int> m_numbers;
    int m_made = 0;
};

#include <QtGlobal>

Q_DECL_EXPORT int answerOfMissingLibrary()
{
    return 42;
}

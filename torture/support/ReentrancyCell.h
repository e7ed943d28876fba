#ifndef REENTRANCYCELL_H
#define REENTRANCYCELL_H

#include <QObject>
#include <QString>

/// One cell of a matrix: something calls the application back, and the application does something
/// there. Each is played in a process of its own, with a server of its own.
class ReentrancyCell : public QObject
{
public:
    /// Plays it; what went wrong, empty when all is well.
    virtual QString play(const QString &occasion, const QString &deed) = 0;

protected:
    /// Called by what the occasion is connected to: does the deed, the first time.
    void act();
    virtual void carryOut() = 0;

    bool hasActed() const
    {
        return m_hasActed && !m_isActing;
    }

private:
    bool m_hasActed = false;
    bool m_isActing = false;
};

inline void ReentrancyCell::act()
{
    if (m_hasActed)
        return;
    m_hasActed = true;
    m_isActing = true;
    struct Guard
    {
        ~Guard()
        {
            isActing = false;
        }
        bool &isActing;
    } guard{m_isActing}; // a deed may throw
    carryOut();
}

#endif

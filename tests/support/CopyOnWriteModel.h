/*
 * Random edits on six containers that keep sharing blocks by copying each
 * other, checked after every step against plain standard strings: an edit
 * reaches exactly the container it was made on. Byte arrays and strings run
 * the same script through a small traits struct:
 *
 *   struct Bytes { using Container = CZeByteArray; using Model = std::string; ... };
 *   checkCopiesStayIndependent<Bytes>();
 */
#ifndef TESTS_SUPPORT_COPYONWRITEMODEL_H
#define TESTS_SUPPORT_COPYONWRITEMODEL_H

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

template <typename Traits>
void checkCopiesStayIndependent()
{
    using C = typename Traits::Container;
    using M = typename Traits::Model;
    using Unit = typename M::value_type;
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 rng(seed);
    std::vector<C> items(6);
    std::vector<M> models(6);
    auto pick = [&](int n) { return int(rng() % unsigned(n)); };
    const M external(48, Unit('e'));

    for (int step = 0; step < 4000; ++step) {
        const int i = pick(6);
        C& c = items[size_t(i)];
        M& m = models[size_t(i)];
        M text(size_t(pick(12)), Unit('a' + pick(26)));
        if (!text.empty() && pick(3) == 0)
            text[0] = Traits::wideUnit(pick(0x100));
        const C made = Traits::make(text);
        const int pos = pick(int(m.size()) + 4);
        // Insertions past the end pad with spaces.
        auto insertModel = [&](size_t at, const M& what) {
            if (what.empty())
                return;
            if (at > m.size())
                m.resize(at, Unit(' '));
            m.insert(at, what);
        };
        switch (pick(11)) {
        case 0: {
            const int j = pick(6);
            items[size_t(j)] = c;
            models[size_t(j)] = m;
            break;
        }
        case 1:
            c.append(made);
            m += text;
            break;
        case 2: {
            const int j = pick(6);
            const M other = models[size_t(j)];
            c.append(items[size_t(j)]);
            m += other;
            break;
        }
        case 3:
            c.insert(pos, made);
            insertModel(size_t(pos), text);
            break;
        case 4: {
            // New elements are unspecified: both sides are made to agree.
            const int n = pick(int(m.size()) + 5);
            const size_t old = m.size();
            c.resize(n);
            m.resize(size_t(n), Unit('z'));
            for (size_t k = old; k < size_t(n); ++k)
                c[int(k)] = typename Traits::Element('z');
            break;
        }
        case 5:
            c.prepend(made);
            m.insert(0, text);
            break;
        case 6:
            c = made;
            m = text;
            break;
        case 7:
            if (!m.empty()) {
                const int k = pick(int(m.size()));
                c[k] = typename Traits::Element('#');
                m[size_t(k)] = Unit('#');
            }
            break;
        case 8: {
            const int len = pick(5);
            c.remove(pos, len);
            if (size_t(pos) < m.size())
                m.erase(size_t(pos), size_t(len));
            break;
        }
        case 9: {
            const int n = 1 + pick(int(external.size()) - 1);
            c = Traits::raw(external.data(), n);
            m.assign(external.data(), size_t(n));
            break;
        }
        default: {
            const M self = m;
            c.insert(pos, c);
            insertModel(size_t(pos), self);
            break;
        }
        }
        if (m.size() > 200) {
            c.truncate(50);
            m.resize(50);
        }
        for (size_t k = 0; k < items.size(); ++k)
            ASSERT_EQ(Traits::model(items[k]), models[k]) << "step " << step << " item " << k;
    }
    EXPECT_EQ(external, M(48, Unit('e'))); // raw data is never written through
}

#endif

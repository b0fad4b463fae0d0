// The icons every view draws: the artwork once it is on disk, the neutral placeholder otherwise — for no
// artwork, artwork not fetched yet, and a file that is not an image.
#include "app/gui/app_icons.h"

#include <QColor>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "app/shell/icon_cache.h"
#include "support/manual_queue.h"

using namespace tovra;

class AppIconsTest final : public QObject {
  Q_OBJECT

 private slots:
  void drawsTheArtworkOrThePlaceholder() {
    QTemporaryDir folder;
    testing::ManualQueue queue;
    shell::IconCache cache(shell::IconCache::Options{folder.path().toStdString()}, queue);
    gui::AppIcons icons(cache);
    const std::string good = "https://example.invalid/image/good/512x512bb.jpg";
    const std::string broken = "https://example.invalid/image/broken/512x512bb.jpg";
    std::filesystem::create_directories(cache.fileFor(good).parent_path());
    QImage red(64, 64, QImage::Format_RGB32);
    red.fill(QColor(220, 20, 20));
    // Saved as PNG under the artwork's .jpg name, as the fake store serves it.
    QVERIFY(red.save(QString::fromStdString(cache.fileFor(good).string()), "PNG"));
    std::ofstream(cache.fileFor(broken), std::ios::binary) << "not an image";

    const auto centre = [](const QPixmap& pixmap) {
      return pixmap.toImage().pixelColor(pixmap.width() / 2, pixmap.height() / 2);
    };
    const auto placeholder = centre(icons.placeholder(40));
    struct Case {
      const char* name;
      std::optional<std::string> url;
      bool artwork;
    };
    for (const auto& [name, url, artwork] : {Case{"no artwork", std::nullopt, false}, Case{"empty", "", false},
                                             Case{"not fetched", "https://example.invalid/other.jpg", false},
                                             Case{"not an image", broken, false}, Case{"on disk", good, true}}) {
      const auto pixmap = icons.pixmap(url, 40);
      QCOMPARE(pixmap.deviceIndependentSize(), QSizeF(40, 40));
      QVERIFY2((centre(pixmap) == QColor(220, 20, 20)) == artwork, name);
      if (!artwork) {
        QVERIFY2(centre(pixmap) == placeholder, name);
      }
    }
    // The corners are the store's rounded ones, so nothing of the square shows there.
    QCOMPARE(icons.pixmap(good, 40).toImage().pixelColor(0, 0).alpha(), 0);
  }
};

QTEST_MAIN(AppIconsTest)
#include "app_icons_test.moc"

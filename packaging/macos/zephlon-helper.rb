# For those who build on a Mac, with Apple's compiler: brew install --HEAD zephlon-helper, from a tap that has this file.
class ZephlonHelper < Formula
  desc "Background helper of the Zephlon system monitor, and its command-line client"
  homepage "https://example.org/zephlon"
  head "https://example.org/zephlon-helper.git", branch: "main"

  depends_on "asio" => :build
  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "nlohmann-json" => :build
  depends_on macos: :ventura
  uses_from_macos "curl"
  uses_from_macos "ncurses"

  def install
    system "cmake", "-S", ".", "-B", "build", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
    [bin/"ZQMHelper", bin/"zephlon"].each do |program|
      system "codesign", "--force", "--sign", "-", "--entitlements", "packaging/macos/entitlements.plist", program
    end
  end

  service do
    run [opt_bin/"ZQMHelper"]
    keep_alive successful_exit: false
  end

  test do
    assert_match "zephlon", shell_output("#{bin}/zephlon --version")
    assert_match "no helper listens", shell_output("#{bin}/zephlon --port 1 status 2>&1", 3)
  end
end

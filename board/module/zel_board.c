// SPDX-License-Identifier: GPL-2.0-only
// SPDX-FileCopyrightText: 2026 The zel_exec developers
/*
 * zel_board - the hardware of a zel board, simulated below the kernel's own
 * PWM, backlight, hwmon, thermal and GPIO frameworks, so that zel_exec can
 * be run unchanged against the real sysfs and GPIO character-device code.
 *
 * The module parameter "layout" picks the board family: which devices exist
 * and how the PWM chips are split into channels. Registration order is part
 * of the contract: the frameworks number their devices in that order, and
 * the tool addresses them by number (pwmchip0..2, hwmon0,
 * cooling_device0..1, GPIO 131).
 *
 * One source builds for 5.10, 6.1 and 6.12. Before 6.9 a PWM chip is named
 * after its base in the global PWM numbering, so after a two-channel
 * pwmchip0 the next chip is pwmchip2: the all-in-one layout exists only on
 * 6.9 and later, and the probe refuses a layout whose chips would not get
 * the numbers the tool writes to.
 *
 * Everything the frameworks hand down is appended to a record that the
 * guest reads from debugfs (zel_board/record; opening it for writing
 * clears it, so "shell >record" does). Each line is
 * "<monotonic microseconds> <event>".
 */
#include <linux/backlight.h>
#include <linux/debugfs.h>
#include <linux/gpio/driver.h>
#include <linux/hwmon.h>
#include <linux/ktime.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/platform_device.h>
#include <linux/pwm.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/thermal.h>
#include <linux/version.h>

/* What a layout has besides its PWM chips. */
#define BOARD_BACKLIGHT BIT(0)
#define BOARD_HWMON BIT(1)
#define BOARD_COOLING BIT(2)
#define BOARD_GPIO131 BIT(3)
#define BOARD_PQ BIT(4)

#define PWM_CHIPS_MAX 3

static const struct board_layout {
	const char *name;
	/* Channels of pwmchip0, 1, 2; the first 0 ends the list. */
	unsigned int pwm_channels[PWM_CHIPS_MAX];
	unsigned int devices;
} board_layouts[] = {
	/* Every command on one board: only where chips are numbered by id. */
	{ "all-in-one", { 2, 1, 1 },
	  BOARD_BACKLIGHT | BOARD_HWMON | BOARD_COOLING | BOARD_GPIO131 |
		  BOARD_PQ },
	/* The 588 and kylin fans, one chip each after the chip at 0. */
	{ "dual-fan", { 1, 1, 1 },
	  BOARD_BACKLIGHT | BOARD_COOLING | BOARD_GPIO131 },
	/* Panel on channel 0 and fan on channel 1 of the one chip. */
	{ "p5", { 2 }, BOARD_HWMON },
	{ "nx", { 0 }, BOARD_BACKLIGHT | BOARD_HWMON | BOARD_PQ },
};

static char *layout = "all-in-one";
module_param(layout, charp, 0444);
MODULE_PARM_DESC(layout, "board family: all-in-one, dual-fan, p5 or nx");

#define RECORD_LINES 1024
#define RECORD_WIDTH 120

static struct {
	struct mutex lock;
	unsigned int used;
	unsigned int dropped;
	struct {
		u64 usec;
		char text[RECORD_WIDTH];
	} line[RECORD_LINES];
} record = { .lock = __MUTEX_INITIALIZER(record.lock) };

static __printf(1, 2) void note(const char *fmt, ...)
{
	u64 usec = div_u64(ktime_get_ns(), NSEC_PER_USEC);
	va_list ap;

	mutex_lock(&record.lock);
	if (record.used < RECORD_LINES) {
		record.line[record.used].usec = usec;
		va_start(ap, fmt);
		vscnprintf(record.line[record.used].text, RECORD_WIDTH, fmt, ap);
		va_end(ap);
		record.used++;
	} else {
		record.dropped++;
	}
	mutex_unlock(&record.lock);
}

static int record_show(struct seq_file *s, void *unused)
{
	unsigned int i;

	mutex_lock(&record.lock);
	for (i = 0; i < record.used; i++)
		seq_printf(s, "%llu %s\n", record.line[i].usec, record.line[i].text);
	if (record.dropped)
		seq_printf(s, "0 record full, %u lines dropped\n", record.dropped);
	mutex_unlock(&record.lock);
	return 0;
}

static int record_open(struct inode *inode, struct file *file)
{
	if (file->f_mode & FMODE_WRITE) {
		mutex_lock(&record.lock);
		record.used = 0;
		record.dropped = 0;
		mutex_unlock(&record.lock);
	}
	return single_open(file, record_show, NULL);
}

/* Whatever is written is dropped: the open has cleared the record. */
static ssize_t record_write(struct file *file, const char __user *buf,
			    size_t len, loff_t *pos)
{
	return len;
}

static const struct file_operations record_fops = {
	.owner = THIS_MODULE,
	.open = record_open,
	.read = seq_read,
	.llseek = seq_lseek,
	.release = single_release,
	.write = record_write,
};

/* PWM: the layout's chips, registered as pwmchip0, 1 and 2. */

/* N of the chip's sysfs name pwmchipN, which the record uses too. */
static unsigned int board_pwm_number(const struct pwm_chip *chip)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 9, 0)
	return chip->id;
#else
	return chip->base;
#endif
}

static int board_pwm_request(struct pwm_chip *chip, struct pwm_device *pwm)
{
	note("pwm %u:%u request", board_pwm_number(chip), pwm->hwpwm);
	return 0;
}

static void board_pwm_free(struct pwm_chip *chip, struct pwm_device *pwm)
{
	note("pwm %u:%u free", board_pwm_number(chip), pwm->hwpwm);
}

/*
 * The core lets a disabled channel through with a duty above its period;
 * real controllers cannot produce that and refuse it, so does this one.
 */
static int board_pwm_apply(struct pwm_chip *chip, struct pwm_device *pwm,
			   const struct pwm_state *state)
{
	int ret = state->duty_cycle > state->period ? -EINVAL : 0;

	note("pwm %u:%u apply period=%llu duty=%llu polarity=%s enabled=%d %s",
	     board_pwm_number(chip), pwm->hwpwm, state->period,
	     state->duty_cycle,
	     state->polarity == PWM_POLARITY_INVERSED ? "inversed" : "normal",
	     state->enabled, ret ? "refused" : "ok");
	return ret;
}

static const struct pwm_ops board_pwm_ops = {
	.request = board_pwm_request,
	.free = board_pwm_free,
	.apply = board_pwm_apply,
#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 7, 0)
	.owner = THIS_MODULE,
#endif
};

#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 9, 0)
static void board_pwmchip_remove(void *chip)
{
	pwmchip_remove(chip);
}
#endif

static int board_pwm_add(struct device *dev, unsigned int channels,
			 struct pwm_chip **added)
{
	struct pwm_chip *chip;
	int ret;

#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 9, 0)
	chip = devm_pwmchip_alloc(dev, channels, 0);
	if (IS_ERR(chip))
		return PTR_ERR(chip);
	chip->ops = &board_pwm_ops;
	ret = devm_pwmchip_add(dev, chip);
#else
	/* The caller owns the chip; base -1 asks for the next free numbers. */
	chip = devm_kzalloc(dev, sizeof(*chip), GFP_KERNEL);
	if (!chip)
		return -ENOMEM;
	chip->dev = dev;
	chip->ops = &board_pwm_ops;
	chip->npwm = channels;
	chip->base = -1;
	ret = pwmchip_add(chip);
	if (!ret)
		ret = devm_add_action_or_reset(dev, board_pwmchip_remove, chip);
#endif
	*added = chip;
	return ret;
}

/* Backlight, registered under the name the board's panel driver uses. */

static int board_backlight_update(struct backlight_device *bd)
{
	note("backlight brightness=%d", bd->props.brightness);
	return 0;
}

static const struct backlight_ops board_backlight_ops = {
	.update_status = board_backlight_update,
};

/* hwmon: one fan/panel PWM attribute, pwm1, 0..255 as hwmon defines it. */

static long hwmon_pwm1;

static umode_t board_hwmon_visible(const void *data,
				   enum hwmon_sensor_types type, u32 attr,
				   int channel)
{
	return type == hwmon_pwm && attr == hwmon_pwm_input ? 0644 : 0;
}

static int board_hwmon_read(struct device *dev, enum hwmon_sensor_types type,
			    u32 attr, int channel, long *val)
{
	*val = READ_ONCE(hwmon_pwm1);
	return 0;
}

static int board_hwmon_write(struct device *dev, enum hwmon_sensor_types type,
			     u32 attr, int channel, long val)
{
	bool ok = val >= 0 && val <= 255;

	note("hwmon pwm1=%ld %s", val, ok ? "ok" : "refused");
	if (!ok)
		return -EINVAL;
	WRITE_ONCE(hwmon_pwm1, val);
	return 0;
}

static const struct hwmon_ops board_hwmon_ops = {
	.is_visible = board_hwmon_visible,
	.read = board_hwmon_read,
	.write = board_hwmon_write,
};

/* Not const itself: the cores of 5.10 and 6.1 take non-const pointers. */
static const struct hwmon_channel_info *board_hwmon_channels[] = {
	HWMON_CHANNEL_INFO(pwm, HWMON_PWM_INPUT),
	NULL
};

static const struct hwmon_chip_info board_hwmon_chip = {
	.ops = &board_hwmon_ops,
	.info = board_hwmon_channels,
};

/* Thermal: two fan cooling devices with states 0..5. */

#define COOLING_DEVICES 2
#define COOLING_MAX_STATE 5

static struct thermal_cooling_device *cooling[COOLING_DEVICES];
static unsigned long cooling_state[COOLING_DEVICES];

static int board_cooling_index(struct thermal_cooling_device *cdev)
{
	return (int)(uintptr_t)cdev->devdata;
}

static int board_cooling_max(struct thermal_cooling_device *cdev,
			     unsigned long *state)
{
	*state = COOLING_MAX_STATE;
	return 0;
}

static int board_cooling_get(struct thermal_cooling_device *cdev,
			     unsigned long *state)
{
	*state = READ_ONCE(cooling_state[board_cooling_index(cdev)]);
	return 0;
}

static int board_cooling_set(struct thermal_cooling_device *cdev,
			     unsigned long state)
{
	int i = board_cooling_index(cdev);

	note("cooling %d state=%lu", i, state);
	WRITE_ONCE(cooling_state[i], state);
	return 0;
}

static const struct thermal_cooling_device_ops board_cooling_ops = {
	.get_max_state = board_cooling_max,
	.get_cur_state = board_cooling_get,
	.set_cur_state = board_cooling_set,
};

/*
 * GPIO: "zel-gpio" at the fixed global base 128, so its line 3 is the
 * motor's GPIO 131 for sysfs; "zel-pq" carries the NX line names, with
 * PQ.06 at a two-digit offset.
 */

#define GPIO_LINES 16

struct board_gpio {
	struct gpio_chip gc;
	u8 output[GPIO_LINES];
	u8 value[GPIO_LINES];
};

static const char *const pq_names[GPIO_LINES] = {
	"PP.00", "PP.01", "PP.02", "PP.03", "PP.04", "PP.05", "PP.06", "PP.07",
	"PQ.00", "PQ.01", "PQ.02", "PQ.03", "PQ.04", "PQ.05", "PQ.06", "PQ.07",
};

static struct board_gpio board_gpio[2];

static int board_gpio_request(struct gpio_chip *gc, unsigned int offset)
{
	note("gpio %s %u request", gc->label, offset);
	return 0;
}

static void board_gpio_free(struct gpio_chip *gc, unsigned int offset)
{
	note("gpio %s %u free", gc->label, offset);
}

static int board_gpio_get_direction(struct gpio_chip *gc, unsigned int offset)
{
	struct board_gpio *g = gpiochip_get_data(gc);

	return READ_ONCE(g->output[offset]) ? GPIO_LINE_DIRECTION_OUT :
					      GPIO_LINE_DIRECTION_IN;
}

static int board_gpio_input(struct gpio_chip *gc, unsigned int offset)
{
	struct board_gpio *g = gpiochip_get_data(gc);

	note("gpio %s %u input", gc->label, offset);
	WRITE_ONCE(g->output[offset], 0);
	return 0;
}

/* The consumer label is known here: the line was requested just before. */
static int board_gpio_output(struct gpio_chip *gc, unsigned int offset,
			     int value)
{
	struct board_gpio *g = gpiochip_get_data(gc);
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 8, 0)
	char *consumer = gpiochip_dup_line_label(gc, offset);

	note("gpio %s %u output value=%d consumer=%s", gc->label, offset,
	     !!value, IS_ERR_OR_NULL(consumer) ? "?" : consumer);
	if (!IS_ERR(consumer))
		kfree(consumer);
#else
	const char *consumer = gpiochip_is_requested(gc, offset);

	note("gpio %s %u output value=%d consumer=%s", gc->label, offset,
	     !!value, consumer ? consumer : "?");
#endif
	WRITE_ONCE(g->value[offset], !!value);
	WRITE_ONCE(g->output[offset], 1);
	return 0;
}

static int board_gpio_get(struct gpio_chip *gc, unsigned int offset)
{
	struct board_gpio *g = gpiochip_get_data(gc);

	return READ_ONCE(g->value[offset]);
}

static void board_gpio_set(struct gpio_chip *gc, unsigned int offset,
			   int value)
{
	struct board_gpio *g = gpiochip_get_data(gc);

	note("gpio %s %u set value=%d", gc->label, offset, !!value);
	WRITE_ONCE(g->value[offset], !!value);
}

static void board_gpio_setup(struct board_gpio *g, struct device *dev,
			     const char *label, int base,
			     const char *const *names)
{
	g->gc = (struct gpio_chip){
		.label = label,
		.parent = dev,
		.owner = THIS_MODULE,
		.request = board_gpio_request,
		.free = board_gpio_free,
		.get_direction = board_gpio_get_direction,
		.direction_input = board_gpio_input,
		.direction_output = board_gpio_output,
		.get = board_gpio_get,
		.set = board_gpio_set,
		.base = base,
		.ngpio = GPIO_LINES,
		.names = names,
		.can_sleep = true,
	};
}

/* debugfs zel_board/lines: present direction and value of every line. */
static int lines_show(struct seq_file *s, void *unused)
{
	unsigned int c, i;

	for (c = 0; c < ARRAY_SIZE(board_gpio); c++) {
		struct board_gpio *g = &board_gpio[c];

		if (!g->gc.label)
			continue;
		for (i = 0; i < GPIO_LINES; i++)
			seq_printf(s, "%s %u %s %s %u\n", g->gc.label, i,
				   g->gc.names ? g->gc.names[i] : "-",
				   READ_ONCE(g->output[i]) ? "out" : "in",
				   READ_ONCE(g->value[i]));
	}
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(lines);

static void board_cooling_unregister(void *data)
{
	thermal_cooling_device_unregister(data);
}

static const struct board_layout *board_layout_named(const char *name)
{
	unsigned int i;

	for (i = 0; i < ARRAY_SIZE(board_layouts); i++)
		if (!strcmp(board_layouts[i].name, name))
			return &board_layouts[i];
	return NULL;
}

static int board_probe(struct platform_device *pdev)
{
	struct device *dev = &pdev->dev;
	const struct board_layout *l = board_layout_named(layout);
	struct backlight_properties props = {
		.type = BACKLIGHT_RAW,
		.max_brightness = 255,
		.brightness = 128,
	};
	struct backlight_device *bd;
	struct device *hwmon;
	unsigned int i;
	int ret;

	if (!l)
		return dev_err_probe(dev, -EINVAL, "no board layout '%s'\n",
				     layout);

	for (i = 0; i < PWM_CHIPS_MAX && l->pwm_channels[i]; i++) {
		struct pwm_chip *chip;

		ret = board_pwm_add(dev, l->pwm_channels[i], &chip);
		if (ret)
			return dev_err_probe(dev, ret, "pwm chip %u\n", i);
		if (board_pwm_number(chip) != i)
			return dev_err_probe(dev, -EBUSY,
					     "pwm chip %u registered as pwmchip%u\n",
					     i, board_pwm_number(chip));
	}

	if (l->devices & BOARD_BACKLIGHT) {
		bd = devm_backlight_device_register(dev, "backlight", dev, NULL,
						    &board_backlight_ops,
						    &props);
		if (IS_ERR(bd))
			return dev_err_probe(dev, PTR_ERR(bd), "backlight\n");
	}

	if (l->devices & BOARD_HWMON) {
		hwmon = devm_hwmon_device_register_with_info(
			dev, "zelboard", NULL, &board_hwmon_chip, NULL);
		if (IS_ERR(hwmon))
			return dev_err_probe(dev, PTR_ERR(hwmon), "hwmon\n");
	}

	for (i = 0; i < COOLING_DEVICES && (l->devices & BOARD_COOLING); i++) {
		cooling[i] = thermal_cooling_device_register(
			i ? "zel-fan1" : "zel-fan0", (void *)(uintptr_t)i,
			&board_cooling_ops);
		if (IS_ERR(cooling[i]))
			return dev_err_probe(dev, PTR_ERR(cooling[i]),
					     "cooling device %u\n", i);
		ret = devm_add_action_or_reset(dev, board_cooling_unregister,
					       cooling[i]);
		if (ret)
			return ret;
	}

	if (l->devices & BOARD_GPIO131)
		board_gpio_setup(&board_gpio[0], dev, "zel-gpio", 128, NULL);
	if (l->devices & BOARD_PQ)
		board_gpio_setup(&board_gpio[1], dev, "zel-pq", -1, pq_names);
	for (i = 0; i < ARRAY_SIZE(board_gpio); i++) {
		if (!board_gpio[i].gc.label)
			continue;
		ret = devm_gpiochip_add_data(dev, &board_gpio[i].gc,
					     &board_gpio[i]);
		if (ret)
			return dev_err_probe(dev, ret, "gpio chip %u\n", i);
	}
	return 0;
}

static struct platform_driver board_driver = {
	.driver = { .name = "zel-board" },
	.probe = board_probe,
};

static struct platform_device *board_device;
static struct dentry *board_debugfs;

static int __init board_init(void)
{
	int ret;

	board_debugfs = debugfs_create_dir("zel_board", NULL);
	debugfs_create_file("record", 0600, board_debugfs, NULL, &record_fops);
	debugfs_create_file("lines", 0400, board_debugfs, NULL, &lines_fops);

	ret = platform_driver_register(&board_driver);
	if (ret)
		goto err_debugfs;
	board_device = platform_device_register_simple("zel-board", -1, NULL, 0);
	if (IS_ERR(board_device)) {
		ret = PTR_ERR(board_device);
		goto err_driver;
	}
	/* A failed probe leaves the device unbound; the module must not load. */
	if (!board_device->dev.driver) {
		ret = -ENODEV;
		goto err_device;
	}
	return 0;

err_device:
	platform_device_unregister(board_device);
err_driver:
	platform_driver_unregister(&board_driver);
err_debugfs:
	debugfs_remove_recursive(board_debugfs);
	return ret;
}

static void __exit board_exit(void)
{
	platform_device_unregister(board_device);
	platform_driver_unregister(&board_driver);
	debugfs_remove_recursive(board_debugfs);
}

module_init(board_init);
module_exit(board_exit);

MODULE_DESCRIPTION("Simulated zel board: PWM, backlight, hwmon, cooling and GPIO");
MODULE_LICENSE("GPL");
